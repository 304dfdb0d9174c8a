// libFuzzer target: the text files norvane-capture reads and writes.
//  - An expected text beside an image (any bytes, any size around the limit, or a
//    FIFO, a directory, a link to /dev/zero in its place) through ReadExpectedText and
//    the scoring, against a plain reduction to upper-case letters and digits.
//  - A log configuration (any bytes, its Path forced into a private folder) through
//    the log's InitLog, then a text line, a JSON value and an image log, with the text
//    or JSON log's name taken by a FIFO, a link or a directory: what the level and mode
//    let through is written whole, nothing is written into or through an occupant.
//
// Input: selector byte for the expected text, selector byte for the log file, one byte
// of size change, a 16-bit length of the expected text, the text, then the INI bytes.
#include <stdlib.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cctype>
#include <cstdint>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <memory>
#include <string>
#include <vector>

#include "fuzz_input.h"
#include "ground_truth.h"
#include "norvane/log/log.h"
#include "test_support/occupied_name.h"

namespace {

namespace fs = std::filesystem;
using norvane_fuzz::Check;
using norvane::testing_util::Occupant;

// A private folder for the process, emptied before each input and removed at exit.
const std::string& Folder() {
  struct Private {
    Private() : path((fs::temp_directory_path() / "norvane_text_files_XXXXXX").string()) {
      Check(mkdtemp(&path[0]) != nullptr);
    }
    ~Private() {
      std::error_code ignored;
      fs::remove_all(path, ignored);
    }
    std::string path;
  };
  static const Private folder;
  return folder.path;
}

std::string Slurp(const std::string& path) {
  std::ifstream in(path, std::ios::binary);
  return std::string(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
}

// Upper-case ASCII letters and digits only: the scoring's reduction, written plainly.
std::string Reduced(const std::string& text) {
  std::string out;
  for (char c : text) {
    if (c >= 'a' && c <= 'z') out += static_cast<char>(c - 'a' + 'A');
    if ((c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9')) out += c;
  }
  return out;
}

void CheckExpectedText(uint8_t selector, uint8_t sizeChange, const std::string& text) {
  const std::string image = Folder() + "/sample.png", path = Folder() + "/sample.txt";
  std::string content = text;
  bool regular = true;
  switch (selector % 6) {
    case 0:  // missing
      regular = false;
      break;
    case 1:
      mkfifo(path.c_str(), 0600);
      regular = false;
      break;
    case 2:
      fs::create_directory(path);
      regular = false;
      break;
    case 3:
      fs::create_symlink("/dev/zero", path);
      regular = false;
      break;
    case 4: {  // a size near the limit: the text, then zero bytes
      std::ofstream(path, std::ios::binary) << text;
      const size_t size = capture::kMaxExpectedTextBytes + sizeChange - 128;
      Check(truncate(path.c_str(), static_cast<off_t>(size)) == 0);
      content.resize(size, '\0');
      break;
    }
    default:
      std::ofstream(path, std::ios::binary) << text;
  }
  const capture::ExpectedText expected = capture::ReadExpectedText(image);
  const bool fits = regular && content.size() <= capture::kMaxExpectedTextBytes;
  Check(expected.present == fits);
  Check(expected.text == (fits ? content : std::string()));
  Check(expected.problem.empty() == (fits || selector % 6 == 0));

  // A plain code with the same letters and digits reads it; one with others does not.
  Check(capture::FileRead(expected, {}) == !expected.present);
  if (!expected.present) return;
  const std::string reduced = Reduced(expected.text);
  Check(capture::CodeMatches(expected.text, {"QRCode", expected.text}) == !reduced.empty());
  Check(capture::FileRead(expected, {{"QRCode", reduced}}) == !reduced.empty());
  Check(!capture::CodeMatches(expected.text, {"QRCode", reduced + "7"}));
}

bool WriteImage(const void* data, const char* path) {
  std::ofstream(path, std::ios::binary) << static_cast<const char*>(data);
  return true;
}

void CheckLog(uint8_t selector, const std::string& ini) {
  const std::string save = Folder() + "/logs/";
  fs::create_directory(save);
  // The input's own Path, if any, is overridden by the last one: the log stays here.
  const std::string config = Folder() + "/config.ini";
  std::ofstream(config, std::ios::binary) << ini << "\n[BARCODECONFIG]\nPath=" << save << "\n";

  const char* const names[] = {"NorvaneKestrel.log", "NorvaneTRX.log"};
  const std::string occupied = save + names[selector & 1];
  const Occupant occupants[] = {Occupant::kFifo, Occupant::kLinkToFile, Occupant::kDirectory};
  std::unique_ptr<norvane::testing_util::OccupiedName> occupant;
  if ((selector >> 1) % 4 != 0) {
    occupant.reset(new norvane::testing_util::OccupiedName(occupied,
                                                           occupants[(selector >> 1) % 4 - 1]));
  }

  int level = 0, mode = 0;
  {
    norvane::TQLog log;
    log.InitLog(config.c_str());
    Check(log.IsInitialized() && log.GetSavePath() == save);
    level = log.GetLevel();
    mode = log.GetMode();
    log.WriteTextLog(9, "line %d", 1);
    Json::Value value(7);
    log.WriteJsonLog(9, value);
    log.AddDirLayer("layer");
    char pixels[] = "PIXELS";
    const std::string image = log.WriteImgLog(&WriteImage, pixels, "image.png", 9);
    log.PopDirLayer();
    log.OutputCacheLog();
    log.OutputJsonLog();
    const bool images = level >= 9 && (mode & norvane::LOG_MODE_IMAGE) != 0;
    Check(image == (images ? save + "layer/image.png" : std::string()));
    if (images) Check(Slurp(image) == "PIXELS");
  }
  if (occupant != nullptr) Check(occupant->Intrusion().empty());

  const bool text = level >= 9 && (mode & norvane::LOG_MODE_TEXT) != 0;
  if (occupant == nullptr || (selector & 1) != 0) {
    // One line, plus the layer's two when images are on too; each whole.
    const std::string log = Slurp(save + names[0]);
    int lines = 0;
    for (char c : log) lines += c == '\n';
    const bool layers = text && (mode & norvane::LOG_MODE_IMAGE) != 0;
    Check(lines == (text ? 1 : 0) + (layers ? 2 : 0));
    Check((log.find("]line 1\n") != std::string::npos) == text);
  }
  if (occupant == nullptr || (selector & 1) == 0) {
    const std::string json = Slurp(save + names[1]);
    Check(json.empty() == (level < 9));
    if (!json.empty()) {
      Json::Value written;
      std::unique_ptr<Json::CharReader> reader(Json::CharReaderBuilder().newCharReader());
      Check(reader->parse(json.data(), json.data() + json.size(), &written, nullptr) &&
            written.isArray() && written.size() == 1 && written[0] == 7);
    }
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  norvane_fuzz::Fields fields(data, size);
  const uint8_t textSelector = fields.Next<uint8_t>();
  const uint8_t logSelector = fields.Next<uint8_t>();
  const uint8_t sizeChange = fields.Next<uint8_t>();
  size_t length = fields.Next<uint16_t>();
  if (length > fields.restSize()) length = fields.restSize();
  const std::string text(reinterpret_cast<const char*>(fields.rest()), length);
  const std::string ini(reinterpret_cast<const char*>(fields.rest()) + length,
                        fields.restSize() - length);

  std::error_code ignored;
  for (const auto& entry : fs::directory_iterator(Folder())) fs::remove_all(entry.path(), ignored);
  CheckExpectedText(textSelector, sizeChange, text);
  CheckLog(logSelector, ini);
  return 0;
}
