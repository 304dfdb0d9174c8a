#include "synthetic_labels.h"

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <memory>

namespace capture {
namespace {

using norvane::basic_structures::CFileImageTag;
using norvane::basic_structures::CImageData;
using norvane::basic_structures::CImageTag;
using norvane::basic_structures::CVideoFrameTag;

// xorshift32: small, fast and the same on every platform.
struct Random {
  explicit Random(uint32_t seed) : state(seed != 0 ? seed : 0x6D2B79F5u) {}
  uint32_t Next() {
    state ^= state << 13;
    state ^= state >> 17;
    state ^= state << 5;
    return state;
  }
  int Below(int n) { return static_cast<int>(Next() % static_cast<uint32_t>(n)); }
  uint32_t state;
};

constexpr double kPi = 3.14159265358979323846;
constexpr int kColumns = 3, kRows = 2;  // at most one label per cell, so none touch
constexpr int kNoise = 12;              // background and labels vary by +-kNoise

unsigned char Clamp(int v) { return static_cast<unsigned char>(std::min(255, std::max(0, v))); }

}  // namespace

SyntheticFramePlan PlanSyntheticFrame(int index, int width, int height) {
  SyntheticFramePlan plan;
  plan.index = index;
  plan.width = width;
  plan.height = height;
  plan.seed = 0x9E3779B9u * static_cast<uint32_t>(index + 1);
  Random random(plan.seed);
  const int cellW = width / kColumns, cellH = height / kRows;
  const double radius = std::min(cellW, cellH) / 2.0 - 14.0;
  int cells[kColumns * kRows];
  for (int i = 0; i < kColumns * kRows; ++i) cells[i] = i;
  for (int i = kColumns * kRows - 1; i > 0; --i) std::swap(cells[i], cells[random.Below(i + 1)]);
  const int labels = 1 + random.Below(6);
  for (int l = 0; l < labels && radius > 20; ++l) {
    double w = 70 + random.Below(190), h = 35 + random.Below(100);
    const double diagonal = std::hypot(w, h);
    if (diagonal > 2 * radius) {
      w *= 2 * radius / diagonal;
      h *= 2 * radius / diagonal;
    }
    const double angle = random.Below(18000) / 100.0 * kPi / 180.0;
    const double cx = (cells[l] % kColumns + 0.5) * cellW + random.Below(21) - 10;
    const double cy = (cells[l] / kColumns + 0.5) * cellH + random.Below(21) - 10;
    const double ux = std::cos(angle), uy = std::sin(angle);
    SyntheticLabel label;
    const double su[4] = {-1, 1, 1, -1}, sv[4] = {-1, -1, 1, 1};
    for (int c = 0; c < 4; ++c) {
      const double du = su[c] * w / 2, dv = sv[c] * h / 2;
      label.corners.push_back({cx + du * ux - dv * uy, cy + du * uy + dv * ux});
    }
    label.grey = 30 + random.Below(60);
    plan.labels.push_back(label);
  }
  return plan;
}

CImageData* RenderSyntheticFrame(const SyntheticFramePlan& plan) {
  const int w = plan.width, h = plan.height;
  Random random(plan.seed ^ 0xA5A5A5A5u);
  const int background = 195 + random.Below(25);
  // Noise comes from a table read at a random offset per row: drawing a random
  // number per pixel would make the producer, not the tasks, set the pace.
  const int kOffsets = 4096;
  std::vector<int> noise(static_cast<size_t>(w) + kOffsets);
  for (int& n : noise) n = random.Below(2 * kNoise + 1) - kNoise;
  std::vector<unsigned char> backgroundRow(noise.size());
  for (size_t i = 0; i < noise.size(); ++i) backgroundRow[i] = Clamp(background + noise[i]);
  std::vector<unsigned char> grey(static_cast<size_t>(w) * h);
  for (int y = 0; y < h; ++y) {
    std::copy_n(&backgroundRow[static_cast<size_t>(random.Below(kOffsets))], w,
                &grey[static_cast<size_t>(y) * w]);
  }
  for (const SyntheticLabel& label : plan.labels) {
    // Each row's pixel centres (y + 0.5) cut the convex label in one span.
    double minY = h, maxY = 0;
    for (const Vec2& c : label.corners) {
      minY = std::min(minY, c.y);
      maxY = std::max(maxY, c.y);
    }
    const int y0 = std::max(0, static_cast<int>(std::ceil(minY - 0.5)));
    const int y1 = std::min(h - 1, static_cast<int>(std::floor(maxY - 0.5)));
    for (int y = y0; y <= y1; ++y) {
      const double yc = y + 0.5;
      double left = w, right = -1;
      for (size_t i = 0; i < label.corners.size(); ++i) {
        const Vec2& p = label.corners[i];
        const Vec2& q = label.corners[(i + 1) % label.corners.size()];
        if (p.y == q.y || yc < std::min(p.y, q.y) || yc > std::max(p.y, q.y)) continue;
        const double x = p.x + (yc - p.y) * (q.x - p.x) / (q.y - p.y);
        left = std::min(left, x);
        right = std::max(right, x);
      }
      const int x0 = std::max(0, static_cast<int>(std::ceil(left - 0.5)));
      const int x1 = std::min(w - 1, static_cast<int>(std::floor(right - 0.5)));
      const int* rowNoise = &noise[static_cast<size_t>(random.Below(kOffsets))];
      unsigned char* row = &grey[static_cast<size_t>(y) * w];
      for (int x = x0; x <= x1; ++x) row[x] = Clamp(label.grey + rowNoise[x]);
    }
  }

  std::unique_ptr<CImageTag> tag;
  if (plan.index % 4 == 3) {
    char name[64];
    std::snprintf(name, sizeof(name), "synthetic/frame_%04d", plan.index);
    tag.reset(new CFileImageTag(name, 0, 1));
  } else {
    tag.reset(new CVideoFrameTag(norvane::basic_structures::VFQ_HIGH, false, nullptr, w, h));
  }
  tag->SetImageId(plan.index);

  unsigned char* bytes = nullptr;
  unsigned long long length = 0;
  int stride = 0;
  norvane::basic_structures::ImagePixelFormat format;
  switch (plan.index % 3) {
    case 0: {  // grey, with row padding on every other grey frame
      stride = plan.index % 2 == 0 ? w + 16 : w;
      length = static_cast<unsigned long long>(stride) * h;
      bytes = new unsigned char[length]();
      for (int y = 0; y < h; ++y)
        std::copy_n(&grey[static_cast<size_t>(y) * w], w, bytes + static_cast<size_t>(y) * stride);
      format = norvane::basic_structures::IPF_GRAYSCALE;
      break;
    }
    case 1: {  // 24-bit colour, memory B, G, R, slightly warm
      stride = 3 * w;
      length = static_cast<unsigned long long>(stride) * h;
      bytes = new unsigned char[length];
      for (size_t i = 0; i < grey.size(); ++i) {
        bytes[3 * i] = Clamp(grey[i] - 6);
        bytes[3 * i + 1] = grey[i];
        bytes[3 * i + 2] = Clamp(grey[i] + 6);
      }
      format = norvane::basic_structures::IPF_RGB_888;
      break;
    }
    default: {  // YUV 4:2:0 (NV21): the grey picture as luma, neutral chroma
      const int rowBytes = (w + 1) / 2 * 2;
      stride = rowBytes;
      length = static_cast<unsigned long long>(stride) * (h + (h + 1) / 2);
      bytes = new unsigned char[length]();
      for (int y = 0; y < h; ++y)
        std::copy_n(&grey[static_cast<size_t>(y) * w], w, bytes + static_cast<size_t>(y) * stride);
      std::fill(bytes + static_cast<size_t>(stride) * h, bytes + length, 128);
      format = norvane::basic_structures::IPF_NV21;
      break;
    }
  }
  return new CImageData(length, bytes, &CImageData::DeleteByteArray, w, h, stride, format, 0,
                        tag.get());
}

}  // namespace capture
