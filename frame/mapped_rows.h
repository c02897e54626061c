// Rows of a picture plane or canvas in platform memory, reached through
// HI_MPI_SYS_Mmap: the same code on a board and on the host, where the
// simulator maps its own memory.
#pragma once

#include "platform/mpp.h"

namespace Tessel {

// rows rows of rowBytes bytes each, stride bytes apart from phys on. read
// copies them out into packed bytes (rows back to back), write copies packed
// bytes in. Each maps stride * rows bytes, copies and unmaps: *mapped is false
// when the mapping failed (nothing was copied); otherwise the answer is the
// status of HI_MPI_SYS_Munmap. No Lua call happens in between.
struct MappedRows {
  HI_U32 phys;
  HI_U32 stride;
  HI_U32 rows;
  HI_U32 rowBytes;

  HI_S32 read(char* packed, bool* mapped) const;
  HI_S32 write(const char* packed, bool* mapped) const;
};

}  // namespace Tessel
