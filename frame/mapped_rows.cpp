#include "frame/mapped_rows.h"

#include <cstdint>
#include <cstring>

namespace Tessel {
namespace {

// Maps the rows, runs copy(mapped bytes), unmaps.
template <class Copy>
HI_S32 withMapping(const MappedRows& m, bool* mapped, Copy&& copy) {
  const std::uint64_t size = std::uint64_t{m.stride} * m.rows;
  void* memory = size <= UINT32_MAX ? HI_MPI_SYS_Mmap(m.phys, static_cast<HI_U32>(size)) : nullptr;
  *mapped = memory != nullptr;
  if (!memory) return HI_FAILURE;
  copy(static_cast<char*>(memory));
  return HI_MPI_SYS_Munmap(memory, static_cast<HI_U32>(size));
}

}  // namespace

HI_S32 MappedRows::read(char* packed, bool* mapped) const {
  return withMapping(*this, mapped, [&](const char* memory) {
    if (stride == rowBytes) {
      std::memcpy(packed, memory, std::size_t{rowBytes} * rows);
      return;
    }
    for (HI_U32 r = 0; r < rows; ++r) std::memcpy(packed + std::size_t{r} * rowBytes, memory + std::size_t{r} * stride, rowBytes);
  });
}

HI_S32 MappedRows::write(const char* packed, bool* mapped) const {
  return withMapping(*this, mapped, [&](char* memory) {
    if (stride == rowBytes) {
      std::memcpy(memory, packed, std::size_t{rowBytes} * rows);
      return;
    }
    for (HI_U32 r = 0; r < rows; ++r) std::memcpy(memory + std::size_t{r} * stride, packed + std::size_t{r} * rowBytes, rowBytes);
  });
}

}  // namespace Tessel
