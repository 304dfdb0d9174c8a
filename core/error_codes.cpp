// The SDK's error table and the C helpers beside it.
#include <cmath>
#include <cstring>

#include "norvane/core/error_codes.h"
#include "norvane_version.h"

namespace norvane {
namespace {

struct ErrorRow {
  int code;
  const char* message;
};

// Searched in this order; the first matching row wins.
const ErrorRow kErrorTable[] = {
    {0, "Successful."},
    {-10000, "Unknown error."},
    {-10001, "Not enough memory to perform operation."},
    {-10002, "Null pointer."},
    {-10005, "The file is not found."},
    {-10006, "The file type is not supported."},
    {-10007, "The BPP(Bits per pixel) is not supported."},
    {-10008, "The index is invalid."},
    {-10010, "The input region value parameter is invalid."},
    {-10012, "Failed to read the image."},
    {-10013, "Failed to read the TIFF image."},
    {-10018, "The DIB(Device-independent bitmaps) buffer is invalid."},
    {-10021, "Failed to read the PDF image."},
    {-10022, "The PDF DLL is missing."},
    {-10023, "The page number is invalid."},
    {-10024, "The custom size is invalid."},
    {-10026, "Operation timeout."},
    {-10030, "Json parse failed."},
    {-10031, "Json type invalid."},
    {-10032, "Json key invalid."},
    {-10033, "Json value invalid or value out of range."},
    {-10034, "The mandatory key \"Name\" is missing."},
    {-10035, "The value of the key \"Name\" is duplicated."},
    {-10036, "The template name invalid."},
    {-10037, "The name reference is invalid."},
    {-10038, "The parameter value invalid or out of range."},
    {-10051, "Failed to set mode's argument."},
    {-10055, "Failed to get mode's argument."},
    {-10058, "Failed to save the file."},
    {-10059, "The Stage type is invalid."},
    {-10060, "The image orientation is invalid."},
    {-10061, "The template is complex."},
    {-10062, "Failed to call the function while capturing in progress."},
    {-10063, "The input image source was not found."},
    {-10064, "Failed to read directory."},
    {-10065, "The module was not found."},
    {-10066, "The api does not support multi-page files. Please use FileFetcher instead."},
    {-10067, "The file already exists but overwriting is disabled."},
    {-10068, "The file path does not exist but cannot be created, or the file cannot be created for any other reason."},
    {-10069, "The input ImageData object contains invalid parameter(s)."},
    {-10070, "The size of the input image does not meet the requirements."},
    {-10071, "The pixel format of the input image does not meet the requirements."},
    {-10072, "The section level result is irreplaceable."},
    {-10073, "The axis definition is incorrect."},
    {-10074, "The result is not replaceable due to type mismatch."},
    {-10075, "Failed to load the PDF library."},
    {-30009, "The barcode format is invalid."},
    {-30025, "The custom module size is invalid."},
    {-30049, "The frame decoding thread already exists."},
    {-30050, "Failed to stop the frame decoding thread."},
    {-40100, "Character Model file is not found."},
    {-40101, "There is a conflict in the layout of TextLineGroup."},
    {-40102, "There is a conflict in the regex of TextLineGroup."},
    {-50057, "The quardrilateral is invalid."},
    {-90001, "The resource path does not exist."},
    {-90002, "Failed to load resource."},
    {-90003, "The code specification is not found."},
    {-90004, "The source string is empty."},
    {-90005, "Failed to preprocess the full code string."},
};

const char kVersion[] = NORVANE_VERSION_STRING;

}  // namespace

}  // namespace norvane

extern "C" {

const char* TC_GetErrorString(int errorCode) {
  for (const norvane::ErrorRow& row : norvane::kErrorTable) {
    if (row.code == errorCode) return row.message;
  }
  return "Unknown error.";
}

double TC_Sqrt(double value) { return std::sqrt(value); }

void TQ_CopyCharArray(const char* source, char** target) {
  if (source == nullptr || target == nullptr) return;
  if (*target != nullptr) {
    delete[] *target;
    *target = nullptr;
  }
  const size_t length = std::strlen(source);
  char* copy = new char[length + 1];
  std::memcpy(copy, source, length);
  copy[length] = '\0';
  *target = copy;
}

void TQ_DeleteCharArray(char** target) {
  if (target == nullptr || *target == nullptr) return;
  delete[] *target;
  *target = nullptr;
}

const char* TQ_GetLibVersion(void) { return norvane::kVersion; }

}  // extern "C"
