// VENCChannel:GetStream against a hand-written Lua C function doing the same
// work (Query, GetStream into a pack array, every pack's bytes copied into
// one string, the same description table, ReleaseStream), side by side in
// one run on encoded 1080p pictures waiting in the simulated encoder's
// buffer, so that encoding is not part of what is timed.
#include <poll.h>

#include <chrono>
#include <cstring>

#include "bench.h"
#include "media/media.h"
#include "platform/mpp.h"
#include "sim/sim.h"
#include "tessel_dev.h"
#include "tests/support/sim_pipeline.h"

extern "C" int luaopen_tessel(lua_State* L);

namespace {

const char* h264Name(int type) {
  switch (type) {
    case H264E_NALU_SPS: return "SPS";
    case H264E_NALU_PPS: return "PPS";
    case H264E_NALU_SEI: return "SEI";
    case H264E_NALU_IDRSLICE: return "IDR";
    case H264E_NALU_ISLICE: return "I";
    case H264E_NALU_BSLICE: return "B";
    default: return "P";
  }
}

// hand(chn) -> data, info: what a careful author writes without tessel.
int hand(lua_State* L) {
  const VENC_CHN chn = static_cast<VENC_CHN>(luaL_checkinteger(L, 1));
  VENC_CHN_STAT_S stat;
  if (HI_MPI_VENC_Query(chn, &stat) != HI_SUCCESS || stat.u32CurPacks == 0 || stat.u32CurPacks > 16) return 0;
  VENC_PACK_S packs[16];
  VENC_STREAM_S s;
  std::memset(&s, 0, sizeof s);
  s.pstPack = packs;
  s.u32PackCount = stat.u32CurPacks;
  if (HI_MPI_VENC_GetStream(chn, &s, 0) != HI_SUCCESS) return 0;
  size_t total = 0;
  for (HI_U32 i = 0; i < s.u32PackCount; ++i) total += packs[i].u32Len - packs[i].u32Offset;
  char* bytes = static_cast<char*>(lua_newuserdata(L, total));
  size_t at = 0;
  for (HI_U32 i = 0; i < s.u32PackCount; ++i) {
    std::memcpy(bytes + at, packs[i].pu8Addr + packs[i].u32Offset, packs[i].u32Len - packs[i].u32Offset);
    at += packs[i].u32Len - packs[i].u32Offset;
  }
  VENC_PACK_S kept[16];
  std::memcpy(kept, packs, sizeof(VENC_PACK_S) * s.u32PackCount);
  const HI_U32 n = s.u32PackCount, seq = s.u32Seq;
  HI_MPI_VENC_ReleaseStream(chn, &s);
  lua_pushlstring(L, bytes, total);
  lua_createtable(L, 0, 4);
  lua_pushinteger(L, n ? static_cast<lua_Integer>(kept[0].u64PTS) : 0);
  lua_setfield(L, -2, "pts");
  lua_pushinteger(L, seq);
  lua_setfield(L, -2, "seq");
  bool key = false;
  lua_createtable(L, static_cast<int>(n), 0);
  at = 1;
  for (HI_U32 i = 0; i < n; ++i) {
    const int type = kept[i].DataType.enH264EType;
    key |= type == H264E_NALU_IDRSLICE;
    lua_createtable(L, 0, 5);
    lua_pushstring(L, h264Name(type));
    lua_setfield(L, -2, "type");
    lua_pushinteger(L, static_cast<lua_Integer>(at));
    lua_setfield(L, -2, "offset");
    lua_pushinteger(L, kept[i].u32Len - kept[i].u32Offset);
    lua_setfield(L, -2, "length");
    lua_pushinteger(L, static_cast<lua_Integer>(kept[i].u64PTS));
    lua_setfield(L, -2, "pts");
    lua_pushboolean(L, kept[i].bFrameEnd);
    lua_setfield(L, -2, "frameEnd");
    lua_rawseti(L, -2, i + 1);
    at += kept[i].u32Len - kept[i].u32Offset;
  }
  lua_setfield(L, -2, "packs");
  lua_pushboolean(L, key);
  lua_setfield(L, -2, "keyframe");
  return 2;
}

// Lets k pictures arrive in the encoder's buffer (virtual time).
void fill(int k) {
  struct pollfd none;
  tessel_dev_poll(&none, 0, k * 1000 / 30);
}

double timeLoop(lua_State* L, int fn, int k) {
  lua_rawgeti(L, LUA_REGISTRYINDEX, fn);
  lua_pushinteger(L, k);
  const auto t0 = std::chrono::steady_clock::now();
  if (lua_pcall(L, 1, 0, 0) != LUA_OK) {
    std::fprintf(stderr, "stream_bench: %s\n", lua_tostring(L, -1));
    std::exit(1);
  }
  return std::chrono::duration<double, std::micro>(std::chrono::steady_clock::now() - t0).count() / k;
}

}  // namespace

int main() {
  sim::reset();
  sim::media::set_clock(sim::media::Clock::Virtual);
  if (!simtest::startSystem() || !simtest::startCamera(1920, 1080, simtest::h264Cbr(1920, 1080, 4096))) {
    std::fprintf(stderr, "stream_bench: the simulated camera did not start\n");
    return 1;
  }
  sim::journal_set_recording(false);
  lua_State* L = luaL_newstate();
  luaL_openlibs(L);
  luaL_requiref(L, "tessel", luaopen_tessel, 0);
  lua_pop(L, 1);
  lua_register(L, "hand", hand);
  const int ours = bench::compile(L, "local chn = Tessel.VENC.GetChannel(0) for _ = 1, n do "
                                     "local data = chn:GetStream(0) if not data then error('no picture') end end");
  const int theirs = bench::compile(L, "for _ = 1, n do local data = hand(0) if not data then "
                                       "error('no picture') end end");
  const int k = 60;
  std::vector<double> a, b;
  for (int round = 0; round < 11; ++round) {
    fill(k);
    a.push_back(timeLoop(L, ours, k));
    fill(k);
    b.push_back(timeLoop(L, theirs, k));
  }
  const bench::Result r{bench::median(a) * 1000, bench::median(b) * 1000};
  const bool ok = bench::report("GetStream of a 1080p H.264 picture", r, 1.10);
  lua_close(L);
  sim::media::set_clock(sim::media::Clock::Real);
  return ok ? 0 : 1;
}
