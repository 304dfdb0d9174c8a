// The C interface of the router over norvane::router::Reader. Nothing thrown gets
// out: allocation failures become -10001, anything else -10000.
#include "norvane/router/NorvaneRouterC.h"

#include <cstdint>
#include <cstring>
#include <type_traits>
#include <memory>
#include <new>
#include <string>
#include <vector>

#include "norvane/NorvaneCore.h"
#include "norvane/router/reader.h"

namespace {

using norvane::basic_structures::CImageData;
using norvane::basic_structures::CImageTag;
using norvane::router::ImageResult;
using norvane::router::Reader;

constexpr int kNullPointer = -10002, kNoMemory = -10001, kUnknown = -10000;

template <typename F>
int Guarded(F&& f) {
  try {
    return f();
  } catch (const std::bad_alloc&) {
    return kNoMemory;
  } catch (...) {
    return kUnknown;
  }
}

struct CReader {
  std::unique_ptr<Reader> reader;
  TXP_RTR_ResultCallback callback = nullptr;
  void* userData = nullptr;
};

// The storage a result's pointers point into.
struct ResultStorage {
  ImageResult source;
  std::vector<TXP_RTR_Finding> findings;
};

// A result handed out, with its storage. Standard layout: the result's address is
// the block's.
struct ResultBlock {
  TXP_RTR_Result result;
  ResultStorage* storage;
  ~ResultBlock() { delete storage; }
};

static_assert(std::is_standard_layout<ResultBlock>::value, "a result's address is its block's");

ResultBlock* MakeResult(ImageResult&& from) {
  std::unique_ptr<ResultStorage> storage(new ResultStorage());
  storage->source = std::move(from);
  for (const norvane::router::Finding& finding : storage->source.findings) {
    TXP_RTR_Finding out;
    out.format = finding.format.c_str();
    out.text = finding.text.c_str();
    out.bytes = finding.bytes.data();
    out.bytesLength = static_cast<int>(finding.bytes.size());
    for (int c = 0; c < 4; ++c) {
      out.x[c] = finding.quad.points[c].x;
      out.y[c] = finding.quad.points[c].y;
    }
    storage->findings.push_back(out);
  }
  std::unique_ptr<ResultBlock> block(new ResultBlock());
  block->result.imageId = storage->source.imageId;
  block->result.errorCode = storage->source.errorCode;
  block->result.milliseconds = storage->source.milliseconds;
  block->result.findingCount = static_cast<int>(storage->findings.size());
  block->result.findings = storage->findings.empty() ? nullptr : storage->findings.data();
  block->storage = storage.release();
  return block.release();
}

int Deliver(int code, ImageResult&& read, TXP_RTR_Result** result) {
  if (code != 0) return code;
  *result = &MakeResult(std::move(read))->result;
  return 0;
}

// The record as an image that borrows its bytes (the reader converts before it
// keeps anything), with the tag's id and file path.
std::unique_ptr<CImageData> Borrow(const TXP_ImageData& record) {
  std::unique_ptr<CImageTag> tag;
  if (record.tag != nullptr) {
    if (record.tag->type == 0) {
      tag.reset(new norvane::basic_structures::CFileImageTag(record.tag->filePath, 0, 0));
    } else {
      tag.reset(new norvane::basic_structures::CVideoFrameTag(
          norvane::basic_structures::VFQ_HIGH, false, nullptr, record.width, record.height));
    }
    tag->SetImageId(record.tag->imageId);
  }
  return std::unique_ptr<CImageData>(new CImageData(
      record.bytesLength, record.bytes, nullptr, record.width, record.height, record.stride,
      static_cast<norvane::basic_structures::ImagePixelFormat>(record.format), record.orientation,
      tag.get()));
}

CReader* ReaderOf(void* handle) { return static_cast<CReader*>(handle); }

}  // namespace

int TXP_RTR_CreateReader(const char* module, const TXP_RTR_ReaderOptions* options, void** reader,
                         char** errorMessage) {
  if (reader != nullptr) *reader = nullptr;
  if (errorMessage != nullptr) *errorMessage = nullptr;
  if (module == nullptr || reader == nullptr) return kNullPointer;
  return Guarded([&] {
    norvane::router::ReaderOptions parsed;
    if (options != nullptr) {
      if (options->formats != nullptr) {
        const std::string list = options->formats;
        for (size_t begin = 0; begin <= list.size();) {
          const size_t end = std::min(list.find(',', begin), list.size());
          if (end > begin) parsed.formats.push_back(list.substr(begin, end - begin));
          begin = end + 1;
        }
      }
      parsed.fast = options->fast != 0;
      if (options->workers != 0) parsed.workers = options->workers;
      if (options->moduleOptions != nullptr) parsed.moduleOptions = options->moduleOptions;
      parsed.dropOldest = options->dropOldest != 0;
    }
    int code = 0;
    std::string message;
    std::unique_ptr<CReader> created(new CReader());
    created->reader = Reader::Create(module, parsed, &code, &message);
    if (created->reader == nullptr) {
      if (errorMessage != nullptr) TQ_CopyCharArray(message.c_str(), errorMessage);
      return code;
    }
    *reader = created.release();
    return 0;
  });
}

void TXP_RTR_DestroyReader(void* reader) {
  Guarded([&] {
    delete ReaderOf(reader);
    return 0;
  });
}

int TXP_RTR_ReadImage(void* reader, const TXP_ImageData* image, TXP_RTR_Result** result) {
  if (reader == nullptr || image == nullptr || result == nullptr) return kNullPointer;
  *result = nullptr;
  return Guarded([&] {
    ImageResult read;
    return Deliver(ReaderOf(reader)->reader->Read(*Borrow(*image), &read), std::move(read),
                   result);
  });
}

int TXP_RTR_ReadFile(void* reader, const char* path, TXP_RTR_Result** result) {
  if (reader == nullptr || path == nullptr || result == nullptr) return kNullPointer;
  *result = nullptr;
  return Guarded([&] {
    ImageResult read;
    return Deliver(ReaderOf(reader)->reader->ReadFile(path, &read), std::move(read), result);
  });
}

int TXP_RTR_ReadEncoded(void* reader, const unsigned char* data, unsigned long long size,
                        TXP_RTR_Result** result) {
  if (reader == nullptr || data == nullptr || result == nullptr) return kNullPointer;
  *result = nullptr;
  if (size > SIZE_MAX) return -10070;
  return Guarded([&] {
    ImageResult read;
    return Deliver(
        ReaderOf(reader)->reader->ReadEncoded(data, static_cast<size_t>(size), &read),
        std::move(read), result);
  });
}

void TXP_RTR_FreeResult(TXP_RTR_Result* result) {
  delete reinterpret_cast<ResultBlock*>(result);
}

int TXP_RTR_StartStream(void* reader, TXP_RTR_ResultCallback callback, void* userData) {
  if (reader == nullptr || callback == nullptr) return kNullPointer;
  return Guarded([&] {
    CReader* handle = ReaderOf(reader);
    return handle->reader->Start([callback, userData](const ImageResult& read, const CImageData*) {
      ImageResult copy = read;
      std::unique_ptr<ResultBlock> block(MakeResult(std::move(copy)));
      callback(&block->result, userData);
    });
  });
}

int TXP_RTR_PushImage(void* reader, const TXP_ImageData* image) {
  if (reader == nullptr || image == nullptr) return kNullPointer;
  return Guarded([&] {
    std::unique_ptr<CImageData> borrowed = Borrow(*image);
    const int valid = TQ_ValidateImageData(borrowed.get());
    if (valid != 0) return valid;
    // The stream keeps the image: give it its own bytes.
    CImageData* copy = new CImageData(borrowed->GetBytesLength(), borrowed->GetBytes(),
                                      borrowed->GetWidth(), borrowed->GetHeight(),
                                      borrowed->GetStride(), borrowed->GetImagePixelFormat(),
                                      borrowed->GetOrientation(), borrowed->GetImageTag());
    return ReaderOf(reader)->reader->Push(copy);
  });
}

int TXP_RTR_FinishStream(void* reader, int* dropped) {
  if (reader == nullptr) return kNullPointer;
  return Guarded([&] {
    norvane::router::StreamTotals totals;
    const int code = ReaderOf(reader)->reader->Finish(&totals);
    if (dropped != nullptr && code == 0) *dropped = totals.dropped;
    return code;
  });
}

char* TXP_RTR_GetAvailableModules(void) {
  char* list = nullptr;
  Guarded([&] {
    std::string joined;
    for (const std::string& name : Reader::AvailableModules()) {
      joined += (joined.empty() ? "" : ",") + name;
    }
    TQ_CopyCharArray(joined.c_str(), &list);
    return 0;
  });
  return list;
}
