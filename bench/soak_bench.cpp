// A soak of the simulator: one million platform calls with the journal at its
// default bound, against the same calls journaled without a bound (measured
// on a slice and scaled), side by side in one run. Resident memory is what a
// script testing a pipeline for hours pays: the target is on what the calls
// add to the process once it is up (the media libraries the simulator loads
// are resident before the first call).
#include <cstdio>
#include <cstring>
#include <fstream>
#include <string>

#include "platform/mpp.h"
#include "sim/sim.h"
#include "tests/support/sim_pipeline.h"

namespace {

double residentMiB() {
  std::ifstream status("/proc/self/status");
  std::string line;
  while (std::getline(status, line))
    if (line.compare(0, 6, "VmRSS:") == 0) return std::stod(line.substr(6)) / 1024.0;
  return 0;
}

// Pairs of SetChnAttr/GetChnAttr: the journal decodes both structures.
void soak(long calls) {
  VENC_CHN_ATTR_S a = simtest::h264Cbr(1920), back;
  for (long i = 0; i < calls / 2; ++i) {
    a.stRcAttr.stAttrH264Cbr.u32BitRate = 1024 + static_cast<HI_U32>(i % 4096);
    HI_MPI_VENC_SetChnAttr(0, &a);
    HI_MPI_VENC_GetChnAttr(0, &back);
  }
}

void powerOn() {
  sim::reset();
  VENC_CHN_ATTR_S a = simtest::h264Cbr(1920);
  if (!simtest::startSystem() || HI_MPI_VENC_CreateChn(0, &a)) {
    std::fprintf(stderr, "soak_bench: the simulated pipeline did not start\n");
    std::exit(1);
  }
}

}  // namespace

int main() {
  const long kCalls = 1000000, kSlice = 20000;
  const double targetMiB = 20;

  // Bounded (the default), the full soak; then unbounded, on a slice: what
  // each journaled call costs (measured second: freed memory stays resident).
  powerOn();
  soak(1000);  // the first calls' one-time allocations
  const double up = residentMiB();
  soak(kCalls);
  const double after = residentMiB(), added = after - up;
  const size_t kept = sim::journal_size(), dropped = sim::journal_dropped(), limit = sim::journal_limit();
  sim::reset();
  powerOn();
  sim::journal_set_limit(static_cast<size_t>(-1));
  double before = residentMiB();
  soak(kSlice);
  double perCallKiB = (residentMiB() - before) * 1024 / kSlice;
  bool ok = added < targetMiB;
  std::printf("simulator soak, %ld calls (SetChnAttr/GetChnAttr pairs):\n", kCalls);
  std::printf("%-44s %8.1f MiB added, %.1f MiB resident (target < %.0f MiB added) %s\n",
              "journal bounded (the default)", added, after, targetMiB, ok ? "ok" : "OVER");
  std::printf("%-44s %8.1f MiB (%.2f KiB per call, measured on %ld calls)\n",
              "journal unbounded, scaled", perCallKiB * kCalls / 1024, perCallKiB, kSlice);
  std::printf("%-44s %8zu kept (limit %zu), %zu dropped\n", "bounded journal after the soak", kept, limit,
              dropped);
  return ok ? 0 : 1;
}
