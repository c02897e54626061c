// The audio data path, side by side in one run: a GetFrame/SendFrame loop
// through tessel against hand-written Lua C functions making the same
// platform calls and copies (the frame copied and given back, a string and
// a table of five fields; the table read and the frame sent); then the
// simulated intercom chain (input -> encoder -> script -> decoder -> output)
// under the virtual clock, as seconds of sound per second of run.
#include <chrono>
#include <cstdio>
#include <cstring>

#include <lua.hpp>

#include "bench/bench.h"
#include "frame/modules.h"
#include "media/media.h"
#include "platform/mpp.h"
#include "sim/sim.h"

namespace {

// hand.GetFrame(dev, chn) -> pcm, {pts, seq, bitWidth, soundMode, samples}
int handGetFrame(lua_State* L) {
  const int dev = static_cast<int>(luaL_checkinteger(L, 1)), chn = static_cast<int>(luaL_checkinteger(L, 2));
  AUDIO_FRAME_S f;
  AEC_FRAME_S aec;
  std::memset(&f, 0, sizeof f);
  std::memset(&aec, 0, sizeof aec);
  if (HI_MPI_AI_GetFrame(dev, chn, &f, &aec, -1) != HI_SUCCESS) return 0;
  char pcm[MAX_AUDIO_FRAME_LEN];
  const HI_U32 len = f.u32Len;
  std::memcpy(pcm, f.pVirAddr[0], len);
  const HI_U64 pts = f.u64TimeStamp;
  const HI_U32 seq = f.u32Seq;
  HI_MPI_AI_ReleaseFrame(dev, chn, &f, &aec);
  lua_pushlstring(L, pcm, len);
  lua_createtable(L, 0, 5);
  lua_pushinteger(L, static_cast<lua_Integer>(pts));
  lua_setfield(L, -2, "pts");
  lua_pushinteger(L, seq);
  lua_setfield(L, -2, "seq");
  lua_pushinteger(L, 16);
  lua_setfield(L, -2, "bitWidth");
  lua_pushstring(L, "MONO");
  lua_setfield(L, -2, "soundMode");
  lua_pushinteger(L, len / 2);
  lua_setfield(L, -2, "samples");
  return 2;
}

// hand.SendFrame(dev, chn, pcm, info) -> true
int handSendFrame(lua_State* L) {
  const int dev = static_cast<int>(luaL_checkinteger(L, 1)), chn = static_cast<int>(luaL_checkinteger(L, 2));
  size_t size = 0;
  const char* pcm = luaL_checklstring(L, 3, &size);
  AUDIO_FRAME_S f;
  std::memset(&f, 0, sizeof f);
  f.enBitwidth = AUDIO_BIT_WIDTH_16;
  f.enSoundmode = AUDIO_SOUND_MODE_MONO;
  if (lua_istable(L, 4)) {
    lua_getfield(L, 4, "bitWidth");
    lua_getfield(L, 4, "soundMode");
    lua_getfield(L, 4, "pts");
    lua_getfield(L, 4, "seq");
    if (lua_tointeger(L, -4) == 8) f.enBitwidth = AUDIO_BIT_WIDTH_8;
    if (lua_isstring(L, -3) && std::strcmp(lua_tostring(L, -3), "STEREO") == 0) f.enSoundmode = AUDIO_SOUND_MODE_STEREO;
    f.u64TimeStamp = static_cast<HI_U64>(lua_tointeger(L, -2));
    f.u32Seq = static_cast<HI_U32>(lua_tointeger(L, -1));
    lua_pop(L, 4);
  }
  f.u32Len = static_cast<HI_U32>(size);
  f.pVirAddr[0] = const_cast<char*>(pcm);
  lua_pushboolean(L, HI_MPI_AO_SendFrame(dev, chn, &f, -1) == HI_SUCCESS);
  return 1;
}

void run(lua_State* L, const char* code) {
  if (luaL_dostring(L, code) != LUA_OK) {
    std::fprintf(stderr, "audio_bench: %s\n", lua_tostring(L, -1));
    std::exit(1);
  }
}

const char kSetup[] = R"(
  local attrs = { enSamplerate = 8000, enBitwidth = 16, enWorkmode = "I2S_MASTER", enSoundmode = "MONO",
                  u32FrmNum = 30, u32PtNumPerFrm = 320, u32ChnCnt = 2 }
  assert(Tessel.VB.Config(8, { { u32BlkSize = 4096, u32BlkCnt = 2 } }) == 0 and Tessel.VB.Init() == 0)
  assert(Tessel.SYS.Init() == 0)
  aid, aod = Tessel.AI.GetDevice(0), Tessel.AO.GetDevice(0)
  assert(aid:SetPubAttr(attrs) and aid:Enable() == 0 and aod:SetPubAttr(attrs) and aod:Enable() == 0)
  ai, ao = aid:GetChannel(0), aod:GetChannel(0)
  assert(ai:Enable() == 0 and ao:Enable() == 0 and ai:SetParam{ u32UsrFrmDepth = 4 })
)";

// Seconds of sound through input -> encoder -> Lua -> decoder -> output.
const char kChain[] = R"(
  local seconds = ...
  local aenc = Tessel.AENC.CreateChannel(1, { enType = "G711A", u32PtNumPerFrm = 320, u32BufSize = 30 })
  local adec = Tessel.ADEC.CreateChannel(1, { enType = "G711A", u32BufSize = 30 })
  local ai1, ao1 = aid:GetChannel(1), aod:GetChannel(1)
  assert(ai1:Enable() == 0 and ao1:Enable() == 0)
  assert(Tessel.SYS.Bind(ai1, aenc) and Tessel.SYS.Bind(adec, ao1))
  for _ = 1, seconds * 25 do assert(adec:SendStream((assert(aenc:GetStream(-1))))) end
  assert(Tessel.SYS.UnBind(ai1, aenc) and Tessel.SYS.UnBind(adec, ao1))
  aenc:Destroy() adec:Destroy()
)";

}  // namespace

int main() {
  sim::reset();
  sim::media::set_clock(sim::media::Clock::Virtual);
  sim::journal_set_limit(64);
  lua_State* L = luaL_newstate();
  luaL_openlibs(L);
  Tessel::SYS_Register(L);
  Tessel::VB_Register(L);
  Tessel::AI_Register(L);
  Tessel::AO_Register(L);
  Tessel::AENC_Register(L);
  Tessel::ADEC_Register(L);
  lua_createtable(L, 0, 2);
  lua_pushcfunction(L, &handGetFrame);
  lua_setfield(L, -2, "GetFrame");
  lua_pushcfunction(L, &handSendFrame);
  lua_setfield(L, -2, "SendFrame");
  lua_setglobal(L, "hand");
  run(L, kSetup);

  bool ok = true;
  std::printf("audio frames, per loop turn (median of alternating runs):\n");
  ok &= bench::report("ai:GetFrame() ao:SendFrame(pcm, info)",
                      bench::compare(L, "local ai, ao = ai, ao for _ = 1, n do ao:SendFrame(ai:GetFrame()) end",
                                     "local h = hand for _ = 1, n do h.SendFrame(0, 0, h.GetFrame(0, 0)) end", 20000),
                      1.10);
  std::fflush(stdout);

  const double seconds = 120;
  if (luaL_loadstring(L, kChain) != LUA_OK) return 1;
  lua_pushnumber(L, seconds);
  const auto t0 = std::chrono::steady_clock::now();
  if (lua_pcall(L, 1, 0, 0) != LUA_OK) {
    std::fprintf(stderr, "audio_bench: %s\n", lua_tostring(L, -1));
    return 1;
  }
  const double wall = std::chrono::duration<double>(std::chrono::steady_clock::now() - t0).count();
  const double speed = seconds / wall;
  const bool fast = speed >= 50;
  std::printf("%-44s %.0f s of G.711 sound in %.2f s: %.0fx real time (target >= 50x) %s\n",
              "intercom chain, virtual clock", seconds, wall, speed, fast ? "ok" : "UNDER");
  lua_close(L);
  return ok && fast ? 0 : 1;
}
