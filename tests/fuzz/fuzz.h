// What the fuzz targets share.
#pragma once

#include <cstdint>
#include <cstdlib>
#include <string>
#include <string_view>

#include "frame/values/fault.h"
#include "frame/values/text.h"

namespace surva {

inline void Require(bool holds) {
  if (!holds) std::abort();
}

template <class Work>
void MayRefuse(Work work) {
  try {
    work();
  } catch (const Fault&) {
  }
}

// The target's own; LLVMFuzzerTestOneInput calls it.
void Try(std::string_view text);

}  // namespace surva

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size) {
  surva::Try({reinterpret_cast<const char*>(bytes), size});
  return 0;
}
