#include "norvane/router/reader.h"

#include <algorithm>
#include <cctype>
#include <thread>

#include "image_io.h"
#include "module_library.h"
#include "norvane/basic_structures/pixel_conversion.h"
#include "pipeline.h"

namespace norvane {
namespace router {
namespace {

using basic_structures::CImageData;
using capture::FrameProducer;
using capture::FrameResult;

constexpr int kNotFound = -10005, kUnreadable = -10012, kInProgress = -10062,
              kBadParameter = -10038, kBadFormat = -30009, kSizeInvalid = -10070;

std::string FormatKey(const std::string& name) {
  std::string key;
  for (unsigned char c : name) {
    if (std::isalnum(c)) key += static_cast<char>(std::tolower(c));
  }
  return key;
}

std::string FilePathOf(const FrameResult& result) {
  const auto* tag = result.GetOriginalImageTag();
  if (tag == nullptr || tag->GetType() != 0) return std::string();
  const char* path = static_cast<const basic_structures::CFileImageTag*>(tag)->GetFilePath();
  return path != nullptr ? path : "";
}

// Offers the images handed to Push while the pipeline runs; Close ends it.
class PushProducer : public FrameProducer {
 public:
  PushProducer() : cv_(&mu_) {}

  void Produce(const Offer& offer) override {
    MutexLock lock(&mu_);
    offer_ = &offer;
    cv_.SignalAll();
    while (!closed_ || pushing_ > 0) cv_.Wait();
    offer_ = nullptr;
  }
  int Offered() const override {
    MutexLock lock(&mu_);
    return offered_;
  }

  int Push(CImageData* image) {
    const Offer* offer;
    {
      MutexLock lock(&mu_);
      while (offer_ == nullptr && !closed_) cv_.Wait();
      if (closed_) {
        delete image;
        return kInProgress;
      }
      offer = offer_;
      ++pushing_;
    }
    (*offer)(image);  // waits for room unless the oldest image is dropped
    MutexLock lock(&mu_);
    --pushing_;
    ++offered_;
    cv_.SignalAll();
    return 0;
  }
  void Close() {
    MutexLock lock(&mu_);
    closed_ = true;
    cv_.SignalAll();
  }

 private:
  mutable Mutex mu_;
  CondVar cv_;
  const Offer* offer_ GUARDED_BY(mu_) = nullptr;
  bool closed_ GUARDED_BY(mu_) = false;
  int pushing_ GUARDED_BY(mu_) = 0;
  int offered_ GUARDED_BY(mu_) = 0;
};

// One image, for the single-image calls.
class OneImageProducer : public FrameProducer {
 public:
  explicit OneImageProducer(CImageData* image) : image_(image) {}
  ~OneImageProducer() override { delete image_; }
  void Produce(const Offer& offer) override {
    CImageData* image = image_;
    image_ = nullptr;
    offer(image);
  }
  int Offered() const override { return image_ == nullptr ? 1 : 0; }

 private:
  CImageData* image_;
};

}  // namespace

bool FormatWanted(const std::vector<std::string>& wanted, const std::string& format) {
  if (wanted.empty()) return true;
  const std::string key = FormatKey(format);
  return std::any_of(wanted.begin(), wanted.end(),
                     [&key](const std::string& name) { return FormatKey(name) == key; });
}

struct Reader::State {
  ReaderOptions options;
  ModuleLibrary library;  // declared before the module: it outlives it
  std::unique_ptr<capture::CaptureModule> module;
  capture::PipelineOptions pipeline;

  Mutex mu;  // serialises the calls
  // The running stream, if any.
  // shared with the Push calls in flight
  std::shared_ptr<PushProducer> producer GUARDED_BY(mu);
  std::thread thread GUARDED_BY(mu);
  // Written by the stream's thread, read after it was joined.
  capture::RunTotals totals;
  bool streamOk = true;

  ImageResult Convert(const FrameResult& frame) const {
    ImageResult result;
    result.imageId = frame.imageId;
    result.file = FilePathOf(frame);
    result.width = frame.width;
    result.height = frame.height;
    result.errorCode = frame.GetErrorCode();
    result.errorString = frame.GetErrorCode() != 0 ? frame.GetErrorString() : "";
    result.timedOut = frame.timedOut;
    result.taskErrors = frame.taskErrors;
    result.units = frame.units;
    result.milliseconds = frame.milliseconds;
    result.taskRegions = frame.taskRegions;
    for (const auto& entry : frame.GetResultItems()) {
      const auto& item = static_cast<const capture::ModuleItem&>(*entry.get());
      if (!FormatWanted(options.formats, item.Format())) continue;
      Finding finding;
      finding.format = item.Format();
      finding.text = item.Text();
      finding.bytes = item.Bytes();
      finding.quad = item.Quad();
      finding.json = item.ToJson();
      result.findings.push_back(std::move(finding));
    }
    return result;
  }

  // Reads a decoded image file, or tells why there is none.
  int ReadDecoded(const capture::ImageFile& file, ImageResult* result) {
    if (file.image == nullptr) return file.refused ? kSizeInvalid : kUnreadable;
    MutexLock lock(&mu);
    if (producer != nullptr) {
      delete file.image;
      return kInProgress;
    }
    return ReadOne(file.image, result);
  }

  // Runs the pipeline on one image the reader owns from here on.
  int ReadOne(CImageData* image, ImageResult* result) {
    OneImageProducer producer(image);
    bool ok = true;
    bool delivered = false;
    capture::RunPipeline(
        pipeline, &producer,
        [&](FrameResult* frame, const CImageData*) {
          *result = Convert(*frame);
          delivered = true;
        },
        &ok);
    return ok && delivered ? 0 : kBadParameter;
  }
};

Reader::Reader(std::unique_ptr<State> state) : state_(std::move(state)) {}

Reader::~Reader() {
  Finish(nullptr);
  state_->module.reset();  // before its library goes
}

std::unique_ptr<Reader> Reader::Create(const std::string& name, const ReaderOptions& options,
                                       int* code, std::string* message) {
  int ignoredCode;
  std::string ignoredMessage;
  if (code == nullptr) code = &ignoredCode;
  if (message == nullptr) message = &ignoredMessage;
  if (options.workers < 1 || options.workers > 64 || options.timeoutTicks < 0 ||
      options.tickMs < 1 || options.tickMs > 10000 || options.maxPixels == 0) {
    *code = kBadParameter;
    *message = "bad reader options (workers 1..64, tick 1..10000 ms, time-out >= 0)";
    return nullptr;
  }
  std::unique_ptr<State> state(new State());
  state->options = options;
  *code = state->library.Load(name, message);
  if (*code != 0) return nullptr;
  capture::ModuleSettings settings;
  settings.options = options.moduleOptions;
  settings.fast = options.fast;
  // The module knows its formats once it exists: they are checked below.
  settings.formats = options.formats;
  state->module.reset(state->library.create()(&settings, message));
  if (state->module == nullptr) {
    *code = kBadParameter;
    if (message->empty()) *message = "module '" + name + "' refused its options";
    return nullptr;
  }
  const std::vector<std::string> known = state->module->Formats();
  for (const std::string& format : options.formats) {
    if (std::none_of(known.begin(), known.end(), [&format](const std::string& k) {
          return FormatKey(k) == FormatKey(format);
        })) {
      std::string list;
      for (const std::string& k : known) list += (list.empty() ? "" : ", ") + k;
      *code = kBadFormat;
      *message = "unknown format '" + format + "' for module '" + name + "' (" +
                 (list.empty() ? std::string("it reads no formats") : list) + ")";
      return nullptr;
    }
  }
  state->pipeline.workers = options.workers;
  state->pipeline.timeoutTicks = options.timeoutTicks;
  state->pipeline.tickMs = options.tickMs;
  state->pipeline.dropOldest = options.dropOldest;
  state->pipeline.module = state->module.get();
  *code = 0;
  message->clear();
  return std::unique_ptr<Reader>(new Reader(std::move(state)));
}

int Reader::Read(const CImageData& image, ImageResult* result) {
  const int valid = TQ_ValidateImageData(&image);
  if (valid != 0) return valid;
  MutexLock lock(&state_->mu);
  if (state_->producer != nullptr) return kInProgress;
  CImageData* grey = TQ_ConvertToGrayscale(&image);
  if (grey == nullptr) return -10001;
  return state_->ReadOne(grey, result);
}

int Reader::ReadFile(const std::string& path, ImageResult* result) {
  if (PathHelper::JudgePathType(path.c_str()) != PT_FILE) return kNotFound;
  return state_->ReadDecoded(capture::ReadImageFile(path, 0, state_->options.maxPixels), result);
}

int Reader::ReadEncoded(const unsigned char* data, size_t size, ImageResult* result) {
  return state_->ReadDecoded(capture::DecodeImage(data, size, "", 0, state_->options.maxPixels),
                             result);
}

int Reader::Start(const ResultCallback& onResult) {
  MutexLock lock(&state_->mu);
  if (state_->producer != nullptr) return kInProgress;
  state_->producer = std::make_shared<PushProducer>();
  state_->streamOk = true;
  State* state = state_.get();
  PushProducer* producer = state_->producer.get();
  state_->thread = std::thread([state, producer, onResult] {
    state->totals = capture::RunPipeline(
        state->pipeline, producer,
        [state, &onResult](FrameResult* frame, const CImageData* grey) {
          onResult(state->Convert(*frame), grey);
        },
        &state->streamOk);
  });
  return 0;
}

int Reader::Push(CImageData* image) {
  std::shared_ptr<PushProducer> producer;
  {
    MutexLock lock(&state_->mu);
    producer = state_->producer;
  }
  if (producer == nullptr) {
    delete image;
    return kInProgress;
  }
  if (image == nullptr) return -10002;
  return producer->Push(image);
}

int Reader::Finish(StreamTotals* totals) {
  MutexLock lock(&state_->mu);
  if (state_->producer == nullptr) return kInProgress;
  state_->producer->Close();
  state_->thread.join();
  state_->producer.reset();
  if (totals != nullptr) {
    const capture::RunTotals& run = state_->totals;
    totals->images = run.frames;
    totals->pushed = run.offered;
    totals->dropped = run.offered - run.frames;
    totals->units = run.units;
    totals->seconds = run.seconds;
    totals->pixelSeconds = run.pixelSeconds;
    totals->routerCpuSeconds = run.routerCpuSeconds;
    totals->semaphoreLeft = run.semaphoreLeft;
  }
  return state_->streamOk ? 0 : kBadParameter;
}

const capture::CaptureModule& Reader::module() const { return *state_->module; }
const ReaderOptions& Reader::options() const { return state_->options; }

std::vector<std::string> Reader::AvailableModules() { return ModuleLibrary::Available(); }

}  // namespace router
}  // namespace norvane
