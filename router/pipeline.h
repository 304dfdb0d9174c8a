// The capture pipeline of norvane-capture: a producer thread feeds an image-source
// adapter, the router (the calling thread) takes each image out, turns it into a
// source image object of the run and drives the module's task graph (see
// capture_module.h) on a pool of worker threads, while a time-keeping thread raises
// the time-out clocks of running units. Each finished frame becomes a FrameResult
// with the module's items, handed to the caller's callback on the router thread.
#ifndef NORVANE_ROUTER_PIPELINE_H_
#define NORVANE_ROUTER_PIPELINE_H_

#include <functional>
#include <map>
#include <string>
#include <vector>

#include "norvane/router/capture_module.h"
#include "norvane/NorvaneCore.h"

namespace capture {

// The result of one frame: the module's items, the source image's newest error code,
// and what the run needs to report it.
class FrameResult : public norvane::basic_structures::ResultImpBase {
 public:
  FrameResult(const char* hashId, const norvane::basic_structures::CImageTag* tag)
      : ResultImpBase(hashId, tag) {}
  int imageId = -1;
  int width = 0;
  int height = 0;
  int units = 0;            // task units run for the frame
  bool timedOut = false;    // a task reported -10026
  int taskErrors = 0;       // other failing codes
  double milliseconds = 0;  // from taken out of the adapter to finished
  // The regions each task output, by task name, for the image logs.
  std::map<std::string, std::vector<norvane::basic_structures::CQuadrilateral>> taskRegions;
};

// Where images come from: runs on its own thread and hands every image to `offer`,
// which buffers it (waiting for room unless the oldest image is dropped) and owns it.
// An image may refer to bytes the producer keeps; the producer outlives the run.
class FrameProducer {
 public:
  typedef std::function<void(norvane::basic_structures::CImageData*)> Offer;
  virtual ~FrameProducer() = default;
  // Produces every image, returning when done.
  virtual void Produce(const Offer& offer) = 0;
  // How many images it offered to the adapter.
  virtual int Offered() const = 0;
};

struct PipelineOptions {
  int workers = 2;
  int timeoutTicks = 100000;
  int tickMs = 10;
  bool dropOldest = false;
  const CaptureModule* module = nullptr;
};

struct RunTotals {
  int frames = 0;
  int offered = 0;
  int units = 0;
  long semaphoreLeft = 0;       // semaphore value after the run: 0 when every unit signalled once
  double seconds = 0;           // wall time from the start of the threads to their end
  double pixelSeconds = -1;     // the module's pixel work summed over the workers; -1: unknown
  double routerCpuSeconds = 0;  // CPU time of the router thread, callbacks included
};

// Runs the whole capture; `onFrame` is called on the calling thread for every
// finished frame, together with the grey image the tasks saw (valid during the
// call). Returns the totals; false in `ok` when the module could not create a task
// object.
RunTotals RunPipeline(
    const PipelineOptions& options, FrameProducer* producer,
    const std::function<void(FrameResult*, const norvane::basic_structures::CImageData*)>& onFrame,
    bool* ok);

}  // namespace capture

#endif  // NORVANE_ROUTER_PIPELINE_H_
