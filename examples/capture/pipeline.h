// The capture pipeline of norvane-capture: a producer thread feeds an image-source
// adapter, the router (the calling thread) takes each image out, turns it into a
// source image object of the run and drives the task graph "frame" (task
// "localize") -> "label" (task "measure") on a pool of worker threads, while a
// time-keeping thread raises the time-out clocks of running units. Each finished
// frame becomes a FrameResult handed to the caller's callback on the router thread.
#ifndef NORVANE_EXAMPLES_CAPTURE_PIPELINE_H_
#define NORVANE_EXAMPLES_CAPTURE_PIPELINE_H_

#include <functional>
#include <string>
#include <vector>

#include "../detector/demo_detector.h"
#include "norvane/NorvaneCore.h"

namespace capture {

// The public face of one found label.
class LabelItem : public norvane::basic_structures::CCapturedResultItem {
 public:
  norvane::basic_structures::CQuadrilateral quad;
  int area = 0;
  int angle = 0;
  double darkness = 0;
};

// One label in a frame's result.
class LabelResultItem : public norvane::basic_structures::TXPItemBase {
 public:
  LabelResultItem() { publicItem = &label_; }
  LabelResultItem(const LabelResultItem& other) : TXPItemBase(other), label_(other.label_) {
    publicItem = &label_;
  }
  TXPItemBase* Clone() const override { return new LabelResultItem(*this); }
  LabelItem& label() { return label_; }
  const LabelItem& label() const { return label_; }

 private:
  LabelItem label_;
};

// The result of one frame: its labels, the source image's newest error code, and
// what the run needs to report it.
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
  std::vector<norvane::basic_structures::CQuadrilateral> localized;  // before measuring
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
  std::string detectorOptions;
  norvane::demo::CreateTaskFunction createTask = nullptr;
  // Null when the module does not report its pixel time.
  norvane::demo::PixelSecondsFunction pixelSeconds = nullptr;
};

struct RunTotals {
  int frames = 0;
  int offered = 0;
  int units = 0;
  long semaphoreLeft = 0;       // semaphore value after the run: 0 when every unit signalled once
  double seconds = 0;           // wall time from the start of the threads to their end
  double pixelSeconds = -1;     // the detector's pixel work summed over the workers; -1: unknown
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

#endif  // NORVANE_EXAMPLES_CAPTURE_PIPELINE_H_
