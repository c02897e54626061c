// The simulated camera path against the encoder alone, side by side in one
// run: 1080p30 H.264 CBR pictures made by capture, scaled by processing and
// encoded, read with GetStream and released, against the same number of
// the same pictures given straight to the encoder with the same settings.
// Then an hour of the camera path in virtual time at a small size, with the
// resident memory before and after.
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <string>
#include <vector>

#include "media/media.h"
#include "media/pattern.h"
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

double seconds(std::chrono::steady_clock::time_point t0) {
  return std::chrono::duration<double>(std::chrono::steady_clock::now() - t0).count();
}

void start(HI_U32 w, HI_U32 h, HI_U32 kbps) {
  sim::reset();
  sim::media::set_clock(sim::media::Clock::Virtual);
  if (!simtest::startSystem() || !simtest::startCamera(w, h, simtest::h264Cbr(w, h, kbps))) {
    std::fprintf(stderr, "camera_bench: the simulated camera did not start\n");
    std::exit(1);
  }
}

// Reads n pictures the way a script's loop does; the bytes read.
std::size_t readPictures(int n) {
  std::vector<VENC_PACK_S> packs(16);
  std::size_t bytes = 0;
  for (int i = 0; i < n; ++i) {
    VENC_CHN_STAT_S stat;
    VENC_STREAM_S s;
    std::memset(&s, 0, sizeof s);
    s.pstPack = packs.data();
    s.u32PackCount = static_cast<HI_U32>(packs.size());
    if (HI_MPI_VENC_Query(0, &stat) || HI_MPI_VENC_GetStream(0, &s, -1)) {
      std::fprintf(stderr, "camera_bench: GetStream failed at picture %d\n", i);
      std::exit(1);
    }
    for (HI_U32 p = 0; p < s.u32PackCount; ++p) bytes += s.pstPack[p].u32Len;
    HI_MPI_VENC_ReleaseStream(0, &s);
  }
  return bytes;
}

double pipeline(int n) {
  start(1920, 1080, 4096);
  const auto t0 = std::chrono::steady_clock::now();
  readPictures(n);
  return seconds(t0);
}

double encoderAlone(int n) {
  sim::media::EncoderConfig c;
  c.width = 1920;
  c.height = 1080;
  c.kbps = 4096;
  auto enc = sim::media::make_encoder(c);
  std::vector<sim::media::MutablePicture> pics;
  for (int i = 0; i < n; ++i) {  // the pictures capture would make, made beforehand
    auto p = sim::media::Picture::make(1920, 1080, PIXEL_FORMAT_YUV_SEMIPLANAR_420);
    sim::media::draw_pattern(*p, 0, static_cast<std::uint32_t>(i), i * 33333LL);
    pics.push_back(p);
  }
  sim::media::Encoded out;
  const auto t0 = std::chrono::steady_clock::now();
  for (int i = 0; i < n; ++i) enc->encode(*pics[i], false, &out);
  return seconds(t0);
}

}  // namespace

int main() {
  // An hour of a small camera in virtual time: memory stays where it was.
  start(320, 240, 256);
  readPictures(300);
  const double before = residentMiB();
  const auto t0 = std::chrono::steady_clock::now();
  readPictures(30 * 3600 - 300);
  std::printf("One hour of 320x240 H.264 in virtual time: %.1f s, resident %.1f MiB -> %.1f MiB\n", seconds(t0),
              before, residentMiB());
  const int n = 300;  // ten seconds of video
  std::printf("Camera path, 1080p30 H.264 CBR 4 Mbit/s, %d pictures (%s codecs)\n", n,
              sim::media::real_codecs() ? "FFmpeg" : "stand-in");
  double ours = 0, theirs = 0;
  for (int round = 0; round < 3; ++round) {  // alternate, keep the best of each
    const double a = pipeline(n), b = encoderAlone(n);
    ours = round ? std::min(ours, a) : a;
    theirs = round ? std::min(theirs, b) : b;
  }
  std::printf("  capture+processing+encoding+GetStream: %.2f s (%.1fx real time)\n", ours, n / 30.0 / ours);
  std::printf("  encoder alone on the same pictures:    %.2f s\n", theirs);
  std::printf("  ratio %.2f (target <= 1.25), real time x%.1f (target >= 2)\n", ours / theirs, n / 30.0 / ours);

  sim::media::set_clock(sim::media::Clock::Real);
  return ours / theirs <= 1.25 ? 0 : 1;
}
