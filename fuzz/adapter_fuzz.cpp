// libFuzzer target: the C interface of the image-source adapter, driven by a sequence
// of operations decoded from the input (add, get, clear, maximum including 0 and
// negative values, overflow mode, colour usage, next image to return, start, stop,
// callbacks), checked after every step against a plain model of the buffer: a list
// of tag ids, the maximum, the mode, the fetching flag and the protected id.
//
// Every record the fuzzer makes carries a counting release function: each must come
// back exactly once, and after the adapter is destroyed the count equals the number
// made. The buffer's own copies are freed by the library; the leak checker and the
// address checker see to those. A producer would block for ever on a full buffer in
// mode 0 (no consumer runs beside it), so such an add is skipped.
#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <deque>
#include <vector>

#include "fuzz_input.h"
#include "norvane/basic_structures/image_source_adapter_c.h"

namespace {

using norvane_fuzz::Check;
using norvane_fuzz::Fields;

// How often each record made here has been released.
std::vector<int> g_releases;

void CountingRelease(TXP_ImageData* record, void* userData) {
  const size_t ticket = reinterpret_cast<uintptr_t>(userData);
  Check(ticket < g_releases.size() && g_releases[ticket] == 0);
  ++g_releases[ticket];
  TXP_DestoryImageData(record);
}

const unsigned char kPixels[64] = {1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12};

TXP_ImageData* MakeRecord(unsigned long long length, int width, int height, int format,
                          TXP_ImageTag* tag) {
  const size_t ticket = g_releases.size();
  g_releases.push_back(0);
  TXP_ImageData* record = TXP_CreateImageData(
      length, kPixels, width, height, width, format, 0, tag,
      reinterpret_cast<void*>(static_cast<uintptr_t>(ticket)), &CountingRelease);
  Check(record != nullptr);
  return record;
}

// What the callbacks did, and what they answer.
struct CallbackState {
  TXP_ImageSourceAdapter* adapter = nullptr;
  int starts = 0;
  int stops = 0;
  bool hasNext = false;
  int nextCallbackId = 100000;  // ids of the records the get-image callback hands out
};
CallbackState g_callbacks;

bool HasNext(void*) { return g_callbacks.hasNext; }
void StartCallback(void*) {
  ++g_callbacks.starts;
  Check(TXP_ISA_NativeStartFetching(g_callbacks.adapter) == 0);
}
void StopCallback(void*) {
  ++g_callbacks.stops;
  Check(TXP_ISA_NativeStopFetching(g_callbacks.adapter) == 0);
}
TXP_ImageData* GetImageCallback(void*) {
  static TXP_ImageTag tag;
  tag = TXP_ImageTag();
  tag.type = 0;
  tag.imageId = g_callbacks.nextCallbackId;
  return MakeRecord(4, 2, 2, 2, &tag);
}

// The buffer as the adapter's rules describe it.
struct Entry {
  bool tagged;
  int id;
};
struct Model {
  std::deque<Entry> images;  // front = oldest
  uint32_t maximum = 1;
  int mode = 1;
  int usage = 0;
  bool fetching = false;
  int protectedId = -1;
  bool fetchCallbacks = false;
  bool getImageCallback = false;

  // Whether an add would wait for room that nobody makes.
  bool AddWouldBlock() const {
    return mode == 0 && fetching && maximum != 0 && images.size() == maximum;
  }
  void Add(Entry e) {
    if (maximum == 0 || !fetching) return;
    const size_t n = images.size(), m = maximum;
    if (n > m) return;
    if (n < m || (mode != 0 && mode != 1)) {
      images.push_back(e);
      return;
    }
    if (protectedId != -1 && images.front().tagged && images.front().id == protectedId) {
      if (m < 2) return;
      std::swap(images[0], images[1]);
    }
    images.pop_front();
    images.push_back(e);
  }
  int Find(int id) const {
    if (id == -1) return -1;
    for (size_t i = 0; i < images.size(); ++i) {
      if (images[i].tagged && images[i].id == id) return static_cast<int>(i);
    }
    return -1;
  }
};

void CheckNullAdapter() {
  Check(TXP_ISA_SetMaxImageCount(nullptr, 1) == -10002);
  Check(TXP_ISA_GetMaxImageCount(nullptr) == -10002);
  Check(TXP_ISA_GetImageCount(nullptr) == -10002);
  Check(TXP_ISA_ClearBuffer(nullptr) == -10002);
  Check(TXP_ISA_StartFetching(nullptr) == -10002);
  Check(TXP_ISA_StopFetching(nullptr) == -10002);
  Check(TXP_ISA_NativeStartFetching(nullptr) == -10002);
  Check(TXP_ISA_SetBufferOverflowProtectionMode(nullptr, 0) == -10002);
  Check(TXP_ISA_SetColourChannelUsageType(nullptr, 0) == -10002);
  Check(!TXP_ISA_HasImage(nullptr, 1) && !TXP_ISA_IsBufferEmpty(nullptr));
  Check(TXP_ISA_GetImage(nullptr) == nullptr && TXP_ISA_NativeGetImage(nullptr) == nullptr);
  Check(TXP_ISA_CreateBaseImageSourceAdapter(nullptr, nullptr) == nullptr);
}

void CheckState(TXP_ImageSourceAdapter* adapter, const Model& model) {
  Check(TXP_ISA_GetImageCount(adapter) == static_cast<int>(model.images.size()));
  Check(TXP_ISA_IsBufferEmpty(adapter) == model.images.empty());
  Check(TXP_ISA_GetMaxImageCount(adapter) == static_cast<int>(model.maximum));
  Check(TXP_ISA_GetBufferOverflowProtectionMode(adapter) == model.mode);
  Check(TXP_ISA_GetColourChannelUsageType(adapter) == model.usage);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  CheckNullAdapter();
  g_releases.clear();
  g_callbacks = CallbackState();
  TXP_ImageSourceAdapterHandle* handle = TXP_ISA_CreateBaseImageSourceAdapter(&HasNext, nullptr);
  Check(handle != nullptr);
  TXP_ImageSourceAdapter* adapter = handle->adapter;
  g_callbacks.adapter = adapter;
  Model model;
  Fields in(data, size);
  while (!in.empty()) {
    switch (in.Next<uint8_t>() % 12) {
      case 0: {  // add a record, tagged (file or video frame) or not
        const uint8_t tagType = in.Next<uint8_t>() % 3;
        const int id = in.Next<int8_t>();
        const int format = in.Next<uint8_t>() % 17;
        const int width = 1 + in.Next<uint8_t>() % 8;
        const int height = 1 + in.Next<uint8_t>() % 8;
        const unsigned long long length = in.Next<uint8_t>() % (sizeof(kPixels) + 1);
        if (model.AddWouldBlock()) break;
        const TXP_Rect crop = {1, 2, 3, 4};
        TXP_ImageTag tag = TXP_ImageTag();
        tag.type = tagType;  // 2 is no known type: the image goes in untagged
        tag.imageId = id;
        tag.filePath = "a.png";
        tag.cropRegion = &crop;
        Check(TXP_ISA_AddImageToBuffer(adapter, MakeRecord(length, width, height, format, &tag)) ==
              0);
        model.Add({tagType != 2, id});
        break;
      }
      case 1: {  // get, through the callback when one is set, or from the buffer
        const bool native = in.Next<uint8_t>() % 2 != 0;
        TXP_ImageData* record =
            native ? TXP_ISA_NativeGetImage(adapter) : TXP_ISA_GetImage(adapter);
        if (!native && model.getImageCallback) {
          Check(record != nullptr && record->tag != nullptr);
          Check(record->tag->imageId == g_callbacks.nextCallbackId++);
        } else if (model.images.empty()) {
          Check(record == nullptr);
        } else {
          const Entry expected = model.images.back();
          model.images.pop_back();
          model.protectedId = -1;
          Check(record != nullptr);
          Check((record->tag != nullptr) == expected.tagged);
          if (expected.tagged) Check(record->tag->imageId == expected.id);
        }
        if (record != nullptr) record->release(record, record->userData);
        break;
      }
      case 2:
        Check(TXP_ISA_ClearBuffer(adapter) == 0);
        model.images.clear();
        break;
      case 3: {  // a maximum of any sign; negative ones read as unsigned
        const int count = in.Next<int8_t>();
        Check(TXP_ISA_SetMaxImageCount(adapter, count) == 0);
        model.maximum = static_cast<uint32_t>(count);
        if (model.images.size() > model.maximum) model.images.resize(model.maximum);
        break;
      }
      case 4:
        model.mode = in.Next<int8_t>();
        Check(TXP_ISA_SetBufferOverflowProtectionMode(adapter, model.mode) == 0);
        break;
      case 5:
        model.usage = in.Next<int8_t>();
        Check(TXP_ISA_SetColourChannelUsageType(adapter, model.usage) == 0);
        break;
      case 6: {
        const int id = in.Next<int8_t>();
        const bool keep = in.Next<uint8_t>() % 2 != 0;
        const int at = model.Find(id);
        Check(TXP_ISA_SetNextImageToReturn(adapter, id, keep) == (at >= 0));
        if (at >= 0) {
          if (keep) model.protectedId = id;
          std::rotate(model.images.begin(), model.images.begin() + at,
                      model.images.begin() + at + 1);
        }
        break;
      }
      case 7:
      case 8: {
        const bool start = in.Next<uint8_t>() % 2 != 0;
        const bool native = in.Next<uint8_t>() % 2 != 0;
        const int callbacksBefore = g_callbacks.starts + g_callbacks.stops;
        if (start) {
          Check((native ? TXP_ISA_NativeStartFetching(adapter) : TXP_ISA_StartFetching(adapter)) ==
                0);
        } else {
          Check((native ? TXP_ISA_NativeStopFetching(adapter) : TXP_ISA_StopFetching(adapter)) ==
                0);
        }
        const bool throughCallback = !native && model.fetchCallbacks;
        Check(g_callbacks.starts + g_callbacks.stops ==
              callbacksBefore + (throughCallback ? 1 : 0));
        model.fetching = start;
        break;
      }
      case 9: {
        const int id = in.Next<int8_t>();
        Check(TXP_ISA_HasImage(adapter, id) == (model.Find(id) >= 0));
        break;
      }
      case 10: {  // replace the callbacks
        const uint8_t which = in.Next<uint8_t>();
        model.fetchCallbacks = (which & 1) != 0;
        model.getImageCallback = (which & 2) != 0;
        TXP_ISA_SetBaseImageSourceAdapterFunc(
            adapter, model.fetchCallbacks ? &StartCallback : nullptr, nullptr,
            model.fetchCallbacks ? &StopCallback : nullptr, nullptr, nullptr, nullptr,
            model.getImageCallback ? &GetImageCallback : nullptr, nullptr, &HasNext, nullptr);
        break;
      }
      default:
        g_callbacks.hasNext = in.Next<uint8_t>() % 2 != 0;
        Check(TXP_ISA_HasNextImageToFetch(adapter) == g_callbacks.hasNext);
        break;
    }
    CheckState(adapter, model);
  }
  TXP_ISA_DestroyBaseImageSourceAdapter(handle);
  // Every record made here came back through its release function exactly once.
  for (int count : g_releases) Check(count == 1);
  return 0;
}
