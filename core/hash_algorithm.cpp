#include "norvane/core/hash_algorithm.h"

#include <cstdio>
#include <cstring>

#include "core/bkdr_hash.h"

namespace norvane {

TQRef<TQArray<char>> TQHashAlgorithm::GenerateHash(const void* data, unsigned int length) {
  const uint32_t h = internal::BkdrHash(data, length) & 0x7FFFFFFFu;
  char text[16];
  const int textLength = std::snprintf(text, sizeof(text), "BKDR_%u", h);
  TQRef<TQArray<char>> result(new TQArray<char>(static_cast<unsigned int>(textLength) + 1));
  std::memcpy(result->GetData(), text, static_cast<size_t>(textLength));
  return result;
}

}  // namespace norvane
