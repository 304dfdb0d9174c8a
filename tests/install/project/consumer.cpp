// Uses the installed C++ surface through the umbrella header.
#include <norvane/NorvaneCore.h>

#include <cstdio>
#include <cstring>

namespace {
struct Item : norvane::TQObjectBase {};
}  // namespace

int main() {
  norvane::TQRef<Item> item(new Item);
  norvane::TQRef<Item> copy = item;
  if (item->GetRefCount() != 2) return 1;
  norvane::TQRef<norvane::TQArray<char>> hash = norvane::TQHashAlgorithm::GenerateHash("abc", 3);
  if (std::strcmp(hash->GetData(), "BKDR_96354") != 0) return 2;
  if (std::strcmp(norvane::basic_structures::CCoreModule::GetVersion(), TQ_GetLibVersion()) != 0) return 3;
  std::printf("C++ consumer: version %s, %s\n", TQ_GetLibVersion(), TC_GetErrorString(EC_NULL_POINTER));
  return 0;
}
