// Mapping physical addresses: what the simulator lends (pictures, canvases)
// maps back to its bytes.
#include "media/media.h"
#include "sim/sim.h"

namespace sim {
namespace h {

void* HI_MPI_SYS_Mmap(HI_U32 phys, HI_U32 size) {
  void* bytes = media::virtual_of(phys, size);
  if (!bytes) refuse(err(HI_ID_SYS, ILLEGAL_PARAM), "no memory of %u bytes at 0x%08X is known", size, phys);
  return bytes;
}

void* HI_MPI_SYS_MmapCache(HI_U32 phys, HI_U32 size) { return HI_MPI_SYS_Mmap(phys, size); }

HI_S32 HI_MPI_SYS_Munmap(void* bytes, HI_U32 size) {
  if (!bytes) return refuse(err(HI_ID_SYS, NULL_PTR), "no address given (null pointer)");
  return HI_SUCCESS;
}

}  // namespace h
}  // namespace sim
