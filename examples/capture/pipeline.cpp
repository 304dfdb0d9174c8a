#include "pipeline.h"

#include <time.h>

#include <atomic>
#include <chrono>
#include <cstdlib>
#include <deque>
#include <map>
#include <memory>
#include <thread>

namespace capture {
namespace {

using norvane::ActiveTaskUnitManager;
using norvane::CondVar;
using norvane::Mutex;
using norvane::MutexLock;
using norvane::SourceImageCacheBase;
using norvane::TaskUnitQueue;
using norvane::TQ_TaskObjectBase;
using norvane::TQDataManagerPool;
using norvane::TQDependencyGraph;
using norvane::TQRef;
using norvane::TQRegionObject;
using norvane::TQSemaphore;
using norvane::TQSourceImageObject;
using norvane::TQTargetROIDef;
using norvane::TQTargetTaskSetting;
using norvane::TQTargetTaskUnit;
using norvane::TQTaskOutput;
using norvane::basic_structures::CImageData;
using norvane::basic_structures::CImageSourceAdapter;
using norvane::basic_structures::TQHashedImageData;
typedef std::chrono::steady_clock Clock;

// The CPU time the calling thread has used, in seconds.
double ThreadCpuSeconds() {
  timespec now;
  if (clock_gettime(CLOCK_THREAD_CPUTIME_ID, &now) != 0) return 0;
  return static_cast<double>(now.tv_sec) + now.tv_nsec * 1e-9;
}

// Completed units a worker lets pile up before it wakes the router.
constexpr size_t kCompletionBatch = 8;

const char kFrameDef[] = "frame";
const char kLabelDef[] = "label";
const char kLocalize[] = "localize";
const char kMeasure[] = "measure";

// A definition gives each image that enters it a priority from the graph's counter.
class DemoTargetROIDef : public TQTargetROIDef {
 public:
  DemoTargetROIDef(TQDependencyGraph* graph, const std::string& name, int level)
      : TQTargetROIDef(graph, name, level), name_(name) {}
  int OnSourceImageStart(TQSourceImageObject* image) override {
    image->SetTargetDefPriority(name_, GetDependencyGraph()->NextPriority());
    return 0;
  }
  int OnSourceImageEnd(TQSourceImageObject*) override { return 0; }
  void ResetRun() override {}

 private:
  std::string name_;
};

// The two-node graph "frame" -> "label". Priorities grow by one per request; the
// counter's overflow is checked every time it advances.
class DemoGraph : public TQDependencyGraph {
 public:
  int BuildGraph(const std::string&) override {
    TQRef<TQTargetROIDef> frame(new DemoTargetROIDef(this, kFrameDef, 0));
    TQRef<TQTargetROIDef> label(new DemoTargetROIDef(this, kLabelDef, 1));
    frame->GetTargetDefSetting().SetTargetDefName(kFrameDef);
    frame->GetTargetDefSetting().AddTaskSetting(
        kLocalize, new TQTargetTaskSetting(kFrameDef, kLocalize, norvane::TT_ATOMIC_0));
    label->GetTargetDefSetting().SetTargetDefName(kLabelDef);
    label->GetTargetDefSetting().AddTaskSetting(
        kMeasure, new TQTargetTaskSetting(kLabelDef, kMeasure, norvane::TT_ATOMIC_0));
    frame->AddChildDefNode(label.get());
    label->AddParentDefNode(frame.get());
    frame->ActivateAllTask();
    label->ActivateAllTask();
    if (!AddTargetROIDefNode(kFrameDef, frame.get()) ||
        !AddTargetROIDefNode(kLabelDef, label.get())) {
      return -1;
    }
    beginNode = frame.get();
    endNode = label.get();
    return 0;
  }
  unsigned int NextPriority() override {
    unsigned int value;
    {
      MutexLock lock(&priorityMutex);
      value = static_cast<unsigned int>(priorityCounter);
      priorityCounter = static_cast<int>(static_cast<unsigned int>(priorityCounter) + 1u);
    }
    CheckPriorityOverflow();
    return value;
  }
  int StartSourceImage(TQSourceImageObject* image) override {
    for (auto& node : GetTargetDefNodesMap()) node.second->OnSourceImageStart(image);
    return 0;
  }
  int FinishSourceImage(TQSourceImageObject* image) override {
    for (auto& node : GetTargetDefNodesMap()) node.second->OnSourceImageEnd(image);
    return 0;
  }
  void ResetGraph() override {}
};

// The adapter the producer fills; it has more images while the producer runs.
class FrameAdapter : public CImageSourceAdapter {
 public:
  bool HasNextImageToFetch() const override { return !finished_.load(); }
  void SetFinished() { finished_.store(true); }

 private:
  std::atomic<bool> finished_{false};
};

// One unit with what it needs kept alive: its setting, task object and output.
struct Unit {
  TQRef<TQTargetTaskSetting> setting;
  TQRef<TQTaskOutput> output;
  TQRef<TQTargetTaskUnit> unit;
  int frame = -1;
  bool localize = false;
};

// The counted image of a frame, made from the grey image the router took out of the
// adapter without copying its bytes: it keeps that image and reads its bytes.
class AdoptedImage : public TQHashedImageData {
 public:
  explicit AdoptedImage(std::unique_ptr<CImageData> grey)
      : TQHashedImageData(grey->GetBytesLength(), grey->GetBytes(), nullptr, grey->GetWidth(),
                          grey->GetHeight(), grey->GetStride(), grey->GetImagePixelFormat(),
                          grey->GetOrientation(), grey->GetImageTag()),
        grey_(std::move(grey)) {}

 private:
  std::unique_ptr<CImageData> grey_;
};

struct Frame {
  TQRef<TQSourceImageObject> source;
  TQRef<TQRegionObject> whole;
  TQRef<TQHashedImageData> image;  // the grey image the tasks see
  TQRef<FrameResult> result;
  Clock::time_point start;
  int pending = 0;
};

class Run {
 public:
  Run(const PipelineOptions& options, FrameProducer* producer)
      : options_(options),
        producer_(producer),
        semaphore_(0),
        workCv_(&workMutex_),
        routerCv_(&routerMutex_),
        keeperCv_(&keeperMutex_) {}

  RunTotals Execute(const std::function<void(FrameResult*, const CImageData*)>& onFrame, bool* ok) {
    *ok = true;
    graph_ = new DemoGraph();
    graph_->SetManagerPool(&pool_);
    graph_->BuildGraph("frame>label");

    adapter_.SetMaxImageCount(4);
    adapter_.SetBufferOverflowProtectionMode(options_.dropOldest
                                                 ? norvane::basic_structures::BOPM_APPEND
                                                 : norvane::basic_structures::BOPM_BLOCK);
    adapter_.SetColourChannelUsageType(norvane::basic_structures::CCUT_LUMINANCE_ONLY);
    adapter_.StartFetching();

    const Clock::time_point begin = Clock::now();
    std::thread producerThread([this] {
      producer_->Produce([this](CImageData* image) {
        adapter_.AddImageToBuffer(image, false);
        bool wake;
        {
          MutexLock lock(&routerMutex_);
          wake = routerWaitsForImage_;
        }
        if (wake) routerCv_.Signal();
      });
      adapter_.SetFinished();
      MutexLock lock(&routerMutex_);
      producerDone_ = true;
      routerCv_.SignalAll();
    });
    std::thread keeper([this] { KeepTime(); });
    std::vector<std::thread> workers;
    std::vector<double> pixelSeconds(static_cast<size_t>(options_.workers), 0.0);
    for (int i = 0; i < options_.workers; ++i) {
      workers.emplace_back([this, &pixelSeconds, i] {
        Work();
        if (options_.pixelSeconds != nullptr) pixelSeconds[i] = options_.pixelSeconds();
      });
    }

    const double routerCpu = ThreadCpuSeconds();
    Route(onFrame, ok);
    const double routerCpuSeconds = ThreadCpuSeconds() - routerCpu;

    {
      MutexLock lock(&workMutex_);
      stopping_ = true;
      workCv_.SignalAll();
    }
    for (auto& worker : workers) worker.join();
    {
      MutexLock lock(&keeperMutex_);
      keeperStop_ = true;
      keeperCv_.SignalAll();
    }
    keeper.join();
    adapter_.StopFetching();  // releases a producer still waiting for room
    producerThread.join();

    RunTotals totals;
    totals.frames = framesDone_;
    totals.offered = producer_->Offered();
    totals.units = unitsRun_;
    totals.semaphoreLeft = semaphore_.GetValue();
    totals.seconds = std::chrono::duration<double>(Clock::now() - begin).count();
    totals.routerCpuSeconds = routerCpuSeconds;
    if (options_.pixelSeconds != nullptr) {
      totals.pixelSeconds = 0;
      for (double seconds : pixelSeconds) totals.pixelSeconds += seconds;
    }
    pool_.GetCacheManager()->CleanAllCacheMap();
    return totals;
  }

 private:
  // The router: takes images while fewer than a few frames are in flight, and turns
  // every completed unit into the next units or a finished frame.
  void Route(const std::function<void(FrameResult*, const CImageData*)>& onFrame, bool* ok) {
    const size_t maxInFlight = static_cast<size_t>(2 * options_.workers + 1);
    while (*ok) {
      while (frames_.size() < maxInFlight) {
        CImageData* image = adapter_.GetImage();
        if (image == nullptr) break;
        if (!StartFrame(image)) {
          *ok = false;
          break;
        }
      }
      std::deque<std::pair<TQRef<TQTargetTaskUnit>, bool>> completed;
      {
        MutexLock lock(&routerMutex_);
        if (completed_.empty()) {
          if (frames_.empty() && producerDone_ && adapter_.IsBufferEmpty()) break;
          const bool wantsImage = frames_.size() < maxInFlight;
          if (wantsImage && !adapter_.IsBufferEmpty()) continue;
          // Woken by completed units (see Work), a new image when it wants one or the
          // producer's end; the bound is only a safety net.
          routerWaiting_ = true;
          routerWaitsForImage_ = wantsImage;
          routerCv_.WaitUntil(Clock::now() + std::chrono::milliseconds(100));
          routerWaiting_ = false;
          routerWaitsForImage_ = false;
          continue;
        }
        completed.swap(completed_);
      }
      for (auto& entry : completed) {
        if (entry.second) semaphore_.Consume();  // FinishTask signalled it
        if (!Complete(entry.first.get(), onFrame)) *ok = false;
      }
    }
  }

  bool StartFrame(CImageData* taken) {
    Frame frame;
    frame.start = Clock::now();
    frame.image = new AdoptedImage(std::unique_ptr<CImageData>(taken));
    const CImageData* image = frame.image.get();
    const int imageId = image->GetImageTag() != nullptr ? image->GetImageTag()->GetImageId() : -1;
    frame.source =
        new TQSourceImageObject(frame.image.get(), graph_->NextPriority(), options_.timeoutTicks);
    frame.source->SetManagerPool(&pool_);
    pool_.GetCacheManager()->AddToCacheMap(new SourceImageCacheBase(frame.source.get()));
    graph_->StartSourceImage(frame.source.get());
    frame.whole = new TQRegionObject(frame.source, norvane::ROET_PLAIN_IMAGE);
    frame.whole->SetTargetROIDefName(kFrameDef);
    frame.result = new FrameResult(frame.source->GetHashID().c_str(), image->GetImageTag());
    frame.result->imageId = imageId;
    frame.result->width = image->GetWidth();
    frame.result->height = image->GetHeight();
    const int key = nextFrameKey_++;
    Frame& stored = frames_[key] = std::move(frame);
    return AddUnit(key, stored, kFrameDef, kLocalize, TQRef<TQRegionObject>(), stored.whole);
  }

  bool AddUnit(int key, Frame& frame, const char* def, const char* task,
               TQRef<TQRegionObject> reference, TQRef<TQRegionObject> region) {
    TQRef<TQ_TaskObjectBase> object(options_.createTask(task, options_.detectorOptions.c_str()));
    if (object.IsNull()) return false;
    object->SetManagerPool(&pool_);
    object->SetTaskName(task);
    object->SetTargetDefName(def);
    auto unit = std::make_shared<Unit>();
    unit->frame = key;
    unit->localize = std::string(task) == kLocalize;
    unit->setting = new TQTargetTaskSetting(def, task, norvane::TT_ATOMIC_0);
    unit->setting->SetTaskObject(object);
    unit->setting->ActivateTask();
    unit->output = new TQTaskOutput(reference, region, task, norvane::TT_ATOMIC_0);
    unit->unit = new TQTargetTaskUnit(unit->output.get(), unit->setting.get(), &semaphore_,
                                      frame.source->GetPriorityPointer());
    units_[unit->unit.get()] = unit;
    ++frame.pending;
    ++frame.result->units;
    ++unitsRun_;
    MutexLock lock(&workMutex_);
    unit->unit->LogPush();
    (unit->localize ? localizeQueue_ : measureQueue_).push(unit->unit);
    queuedUnits_.fetch_add(1, std::memory_order_relaxed);
    workCv_.Signal();
    return true;
  }

  bool Complete(TQTargetTaskUnit* done,
                const std::function<void(FrameResult*, const CImageData*)>& onFrame) {
    auto found = units_.find(done);
    if (found == units_.end()) return true;
    std::shared_ptr<Unit> unit = found->second;
    units_.erase(found);
    Frame& frame = frames_[unit->frame];
    TQTaskOutput* output = unit->output.get();
    bool ok = true;
    for (int i = 0; i < output->GetResultCount(); ++i) {
      TQRef<TQRegionObject> region = output->GetTaskResult(i)->GetRegion();
      if (region.IsNull()) continue;  // the completion marker
      if (unit->localize) {
        norvane::basic_structures::CQuadrilateral quad;
        for (int c = 0; c < 4; ++c) quad.points[c] = region->GetVertex(c);
        frame.result->localized.push_back(quad);
        ok = AddUnit(unit->frame, frame, kLabelDef, kMeasure, frame.whole, region) && ok;
      } else {
        AddLabel(frame.result.get(), region.get());
      }
    }
    output->SetResultStatus(norvane::TOS_COMPLETED_AND_FLAGGED);  // the router has used it
    if (--frame.pending == 0) FinishFrame(unit->frame, onFrame);
    return ok;
  }

  static void AddLabel(FrameResult* result, TQRegionObject* region) {
    TQRef<LabelResultItem> item(new LabelResultItem());
    LabelItem& label = item->label();
    for (int c = 0; c < 4; ++c) label.quad.points[c] = region->GetVertex(c);
    const std::map<std::string, std::string>& values = region->GetModuleMap();
    auto number = [&values](const char* key) {
      auto it = values.find(key);
      return it == values.end() ? 0.0 : std::atof(it->second.c_str());
    };
    label.area = static_cast<int>(number(norvane::demo::kKeyArea));
    label.angle = static_cast<int>(number(norvane::demo::kKeyAngle));
    label.darkness = number(norvane::demo::kKeyDarkness);
    item->SetTargetROIDefName(kLabelDef);
    item->SetTaskName(kMeasure);
    result->AddResultItem(item.get());
  }

  void FinishFrame(int key, const std::function<void(FrameResult*, const CImageData*)>& onFrame) {
    Frame& frame = frames_[key];
    graph_->FinishSourceImage(frame.source.get());
    FrameResult* result = frame.result.get();
    for (const norvane::TQErrorCodeInfo& info : frame.source->GetErrorCodeInfos()) {
      if (info.code == EC_TIMEOUT) {
        result->timedOut = true;
      } else if (info.code != 0) {
        ++result->taskErrors;
      }
    }
    result->SetErrorCode(frame.source->GetErrorCode());
    double matrix[9];
    frame.source->GetImage()->GetRotationTransformMatrix(matrix);
    result->SetSourceImageRotationMatrix(matrix);
    result->milliseconds =
        std::chrono::duration<double, std::milli>(Clock::now() - frame.start).count();
    ++framesDone_;
    onFrame(result, frame.image.get());
    TQRef<norvane::SourceImageCacheBase> cache =
        pool_.GetCacheManager()->GetFromCacheMap(frame.source->GetHashID());
    if (!cache.IsNull()) cache->SetDone();
    pool_.GetCacheManager()->UpdateCacheMap();
    frames_.erase(key);
  }

  // A worker: takes the unit of the oldest image (smallest priority) from the fronts
  // of both queues, runs it and completes it.
  void Work() {
    while (true) {
      TQRef<TQTargetTaskUnit> unit;
      {
        MutexLock lock(&workMutex_);
        while (localizeQueue_.empty() && measureQueue_.empty() && !stopping_) workCv_.Wait();
        if (localizeQueue_.empty() && measureQueue_.empty()) return;
        TaskUnitQueue* queue = &measureQueue_;
        if (measureQueue_.empty() ||
            (!localizeQueue_.empty() &&
             localizeQueue_.front()->GetPriority() < measureQueue_.front()->GetPriority())) {
          queue = &localizeQueue_;
        }
        unit = queue->front();
        queue->pop();
        queuedUnits_.fetch_sub(1, std::memory_order_relaxed);
        unit->LogPop();
      }
      unit->Process();
      const bool finished = unit->FinishTask();
      // A waiting router is woken for a batch of completed units, or as soon as the
      // workers are about to run out of queued units; every wake-up of a thread costs
      // the other worker's core a context switch.
      bool wake;
      {
        MutexLock lock(&routerMutex_);
        completed_.emplace_back(unit, finished);
        wake = routerWaiting_ && (completed_.size() >= kCompletionBatch ||
                                  queuedUnits_.load(std::memory_order_relaxed) <= options_.workers);
      }
      if (wake) routerCv_.Signal();
    }
  }

  void KeepTime() {
    ActiveTaskUnitManager* active = pool_.GetActiveTaskUnitManager();
    MutexLock lock(&keeperMutex_);
    while (!keeperStop_) {
      active->AddTimeCheckCountForActiveTaskUnit();
      keeperCv_.WaitUntil(Clock::now() + std::chrono::milliseconds(options_.tickMs));
    }
  }

  const PipelineOptions& options_;
  FrameProducer* producer_;
  TQDataManagerPool pool_;
  TQRef<DemoGraph> graph_;
  FrameAdapter adapter_;
  TQSemaphore semaphore_;

  // Router thread only.
  std::map<int, Frame> frames_;
  std::map<TQTargetTaskUnit*, std::shared_ptr<Unit>> units_;
  int nextFrameKey_ = 0;
  int framesDone_ = 0;
  int unitsRun_ = 0;

  Mutex workMutex_;
  CondVar workCv_;
  TaskUnitQueue localizeQueue_ GUARDED_BY(workMutex_);
  TaskUnitQueue measureQueue_ GUARDED_BY(workMutex_);
  bool stopping_ GUARDED_BY(workMutex_) = false;

  Mutex routerMutex_;
  CondVar routerCv_;
  std::deque<std::pair<TQRef<TQTargetTaskUnit>, bool>> completed_ GUARDED_BY(routerMutex_);
  bool producerDone_ GUARDED_BY(routerMutex_) = false;
  bool routerWaiting_ GUARDED_BY(routerMutex_) = false;
  bool routerWaitsForImage_ GUARDED_BY(routerMutex_) = false;
  std::atomic<int> queuedUnits_{0};  // units in the queues, not yet taken by a worker

  Mutex keeperMutex_;
  CondVar keeperCv_;
  bool keeperStop_ GUARDED_BY(keeperMutex_) = false;
};

}  // namespace

RunTotals RunPipeline(const PipelineOptions& options, FrameProducer* producer,
                      const std::function<void(FrameResult*, const CImageData*)>& onFrame,
                      bool* ok) {
  Run run(options, producer);
  return run.Execute(onFrame, ok);
}

}  // namespace capture
