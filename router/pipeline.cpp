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

// A definition gives each image that enters it a priority from the graph's counter.
class ModuleTargetROIDef : public TQTargetROIDef {
 public:
  ModuleTargetROIDef(TQDependencyGraph* graph, const std::string& name, int level)
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

// The module's definitions as a chain, each the child of the one before. Priorities
// grow by one per request; the counter's overflow is checked every time it advances.
class ModuleGraph : public TQDependencyGraph {
 public:
  explicit ModuleGraph(const std::vector<ModuleDefinition>& definitions)
      : definitions_(definitions) {}

  int BuildGraph(const std::string&) override {
    TQTargetROIDef* parent = nullptr;
    for (size_t level = 0; level < definitions_.size(); ++level) {
      const ModuleDefinition& definition = definitions_[level];
      TQRef<TQTargetROIDef> node(
          new ModuleTargetROIDef(this, definition.name, static_cast<int>(level)));
      node->GetTargetDefSetting().SetTargetDefName(definition.name);
      for (const std::string& task : definition.tasks) {
        node->GetTargetDefSetting().AddTaskSetting(
            task, new TQTargetTaskSetting(definition.name, task, norvane::TT_ATOMIC_0));
      }
      if (parent != nullptr) {
        parent->AddChildDefNode(node.get());
        node->AddParentDefNode(parent);
      }
      node->ActivateAllTask();
      if (!AddTargetROIDefNode(definition.name, node.get())) return -1;
      if (level == 0) beginNode = node.get();
      endNode = node.get();
      parent = node.get();
    }
    return definitions_.empty() ? -1 : 0;
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

 private:
  std::vector<ModuleDefinition> definitions_;
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
  size_t level = 0;  // the definition's place in the chain
  std::string task;
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
  size_t level = 0;                             // the definition whose units run
  int pending = 0;                              // its units not yet completed
  std::vector<TQRef<TQRegionObject>> next;      // regions for the next definition
  std::vector<TQRef<TQRegionObject>> findings;  // regions of the last definition
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
    definitions_ = options_.module->Definitions();
    {
      MutexLock lock(&workMutex_);
      queues_.resize(definitions_.size());
    }
    graph_ = new ModuleGraph(definitions_);
    graph_->SetManagerPool(&pool_);
    if (graph_->BuildGraph("") != 0) {
      *ok = false;
      return RunTotals();
    }

    // The adapter hands out its newest image first. A producer that waits for room
    // buffers one image, so that images are taken in the order they came; one that
    // drops the oldest keeps a few, and the reader stays on the newest.
    adapter_.SetMaxImageCount(options_.dropOldest ? 4 : 1);
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
        pixelSeconds[i] = options_.module->PixelSeconds();
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
    if (!pixelSeconds.empty() && pixelSeconds[0] >= 0) {
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
    frame.whole->SetTargetROIDefName(definitions_[0].name);
    frame.result = new FrameResult(frame.source->GetHashID().c_str(), image->GetImageTag());
    frame.result->imageId = imageId;
    frame.result->width = image->GetWidth();
    frame.result->height = image->GetHeight();
    const int key = nextFrameKey_++;
    Frame& stored = frames_[key] = std::move(frame);
    bool ok = true;
    for (const std::string& task : definitions_[0].tasks) {
      ok = AddUnit(key, stored, task, TQRef<TQRegionObject>(), stored.whole) && ok;
    }
    return ok;
  }

  // Queues one unit of `task` of the frame's current definition on `region`.
  bool AddUnit(int key, Frame& frame, const std::string& task, TQRef<TQRegionObject> reference,
               TQRef<TQRegionObject> region) {
    TQRef<TQ_TaskObjectBase> object(options_.module->CreateTask(task));
    if (object.IsNull()) return false;
    const std::string& def = definitions_[frame.level].name;
    object->SetManagerPool(&pool_);
    object->SetTaskName(task);
    object->SetTargetDefName(def);
    auto unit = std::make_shared<Unit>();
    unit->frame = key;
    unit->level = frame.level;
    unit->task = task;
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
    queues_[unit->level].push(unit->unit);
    queuedUnits_.fetch_add(1, std::memory_order_relaxed);
    workCv_.Signal();
    return true;
  }

  // Takes a completed unit's regions: those named for the next definition wait until
  // every unit of the current one is done, the rest are findings. When the last unit
  // of a definition completes, the next definition's units start, or the frame ends.
  bool Complete(TQTargetTaskUnit* done,
                const std::function<void(FrameResult*, const CImageData*)>& onFrame) {
    auto found = units_.find(done);
    if (found == units_.end()) return true;
    std::shared_ptr<Unit> unit = found->second;
    units_.erase(found);
    Frame& frame = frames_[unit->frame];
    TQTaskOutput* output = unit->output.get();
    const bool hasNext = unit->level + 1 < definitions_.size();
    std::vector<norvane::basic_structures::CQuadrilateral>& logged =
        frame.result->taskRegions[unit->task];
    for (int i = 0; i < output->GetResultCount(); ++i) {
      TQRef<TQRegionObject> region = output->GetTaskResult(i)->GetRegion();
      if (region.IsNull()) continue;  // the completion marker
      norvane::basic_structures::CQuadrilateral quad;
      for (int c = 0; c < 4; ++c) quad.points[c] = region->GetVertex(c);
      logged.push_back(quad);
      if (hasNext && region->GetTargetROIDefName() == definitions_[unit->level + 1].name) {
        frame.next.push_back(region);
      } else {
        frame.findings.push_back(region);
      }
    }
    output->SetResultStatus(norvane::TOS_COMPLETED_AND_FLAGGED);  // the router has used it
    if (--frame.pending > 0) return true;
    bool ok = true;
    if (!frame.next.empty()) {
      ++frame.level;
      std::vector<TQRef<TQRegionObject>> regions;
      regions.swap(frame.next);
      for (const TQRef<TQRegionObject>& region : regions) {
        for (const std::string& task : definitions_[frame.level].tasks) {
          ok = AddUnit(unit->frame, frame, task, frame.whole, region) && ok;
        }
      }
    }
    if (frame.pending == 0) FinishFrame(unit->frame, onFrame);
    return ok;
  }

  void FinishFrame(int key, const std::function<void(FrameResult*, const CImageData*)>& onFrame) {
    Frame& frame = frames_[key];
    graph_->FinishSourceImage(frame.source.get());
    FrameResult* result = frame.result.get();
    for (ModuleItem* item : options_.module->MakeItems(frame.findings)) {
      result->AddResultItem(TQRef<norvane::basic_structures::TXPItemBase>(item));
    }
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
  // of the definitions' queues, runs it and completes it.
  void Work() {
    while (true) {
      TQRef<TQTargetTaskUnit> unit;
      {
        MutexLock lock(&workMutex_);
        TaskUnitQueue* queue = nullptr;
        while (true) {
          for (TaskUnitQueue& candidate : queues_) {
            if (!candidate.empty() && (queue == nullptr || candidate.front()->GetPriority() <
                                                               queue->front()->GetPriority())) {
              queue = &candidate;
            }
          }
          if (queue != nullptr) break;
          if (stopping_) return;
          workCv_.Wait();
        }
        unit = queue->front();
        queue->pop();
        queuedUnits_.fetch_sub(1, std::memory_order_relaxed);
        unit->LogPop();
      }
      // A unit whose image has already timed out is not run and records nothing
      // itself: its frame must still say that it timed out.
      int skipped = 0;
      TQSourceImageObject* source = unit->GetSourceImage();
      if (source != nullptr && source->IsCheckPointNeedExit(&skipped) && skipped != 0) {
        source->AddErrorCodeInfo(skipped, "", "", "", "");
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
  std::vector<ModuleDefinition> definitions_;
  TQRef<ModuleGraph> graph_;
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
  std::vector<TaskUnitQueue> queues_ GUARDED_BY(workMutex_);  // one per definition
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
