#include "audio/pcm.h"

#include <cstring>

#include "audio/aio.h"

namespace Tessel {
namespace {

// Bytes of one sample: 0 for a width without a size.
std::size_t sampleBytes(AUDIO_BIT_WIDTH_E width) {
  switch (width) {
    case AUDIO_BIT_WIDTH_8: return 1;
    case AUDIO_BIT_WIDTH_16: return 2;
    case AUDIO_BIT_WIDTH_24: return MAX_AUDIO_POINT_BYTES;
    default: return 0;
  }
}

std::size_t channelsOf(AUDIO_SOUND_MODE_E mode) {
  return mode == AUDIO_SOUND_MODE_MONO ? 1 : mode == AUDIO_SOUND_MODE_STEREO ? 2 : 0;
}

// Reads key of the table at t through T's converter when present; answers
// the conversion's text on failure.
template <class T>
const char* optionalField(lua_State* L, int t, const char* key, T* out) {
  if (lua_getfield(L, t, key) == LUA_TNIL) {
    lua_pop(L, 1);
    return nullptr;
  }
  const char* failed = nullptr;
  try {
    read(L, -1, out);
  } catch (MPPConvException& e) {
    failed = e.m_msg;
  }
  lua_pop(L, 1);
  return failed;
}

}  // namespace

std::size_t copyPcm(const AUDIO_FRAME_S& f, char* out, PcmInfo* info) {
  const std::size_t unit = sampleBytes(f.enBitwidth), channels = channelsOf(f.enSoundmode);
  const std::size_t size = static_cast<std::size_t>(f.u32Len) * channels;
  if (!unit || !channels || !f.pVirAddr[0] || (channels == 2 && !f.pVirAddr[1]) || size > kPcmMax ||
      f.u32Len % unit)
    return 0;
  if (channels == 1) {
    std::memcpy(out, f.pVirAddr[0], f.u32Len);
  } else {
    const char* left = static_cast<const char*>(f.pVirAddr[0]);
    const char* right = static_cast<const char*>(f.pVirAddr[1]);
    for (std::size_t at = 0; at < f.u32Len; at += unit) {
      std::memcpy(out, left + at, unit);
      std::memcpy(out + unit, right + at, unit);
      out += 2 * unit;
    }
  }
  *info = PcmInfo{f.u64TimeStamp, f.u32Seq, f.enBitwidth, f.enSoundmode, static_cast<HI_U32>(f.u32Len / unit)};
  return size;
}

int pushPcm(lua_State* L, const char* bytes, std::size_t size, const PcmInfo& info) {
  lua_pushlstring(L, bytes, size);
  lua_createtable(L, 0, 5);
  lua_pushinteger(L, static_cast<lua_Integer>(info.pts));
  lua_setfield(L, -2, "pts");
  lua_pushinteger(L, info.seq);
  lua_setfield(L, -2, "seq");
  push(L, info.width);
  lua_setfield(L, -2, "bitWidth");
  push(L, info.mode);
  lua_setfield(L, -2, "soundMode");
  lua_pushinteger(L, info.samples);
  lua_setfield(L, -2, "samples");
  return 2;
}

const char* readPcm(lua_State* L, int pcm, int info, AUDIO_FRAME_S* f, char* planes) {
  luaL_checktype(L, pcm, LUA_TSTRING);
  std::memset(f, 0, sizeof *f);
  f->enBitwidth = AUDIO_BIT_WIDTH_16;
  f->enSoundmode = AUDIO_SOUND_MODE_MONO;
  if (lua_type(L, info) == LUA_TTABLE) {
    lua_Integer n = 0;
    if (const char* bad = optionalField(L, info, "bitWidth", &f->enBitwidth)) return bad;
    if (const char* bad = optionalField(L, info, "soundMode", &f->enSoundmode)) return bad;
    if (getInteger(L, info, "pts", &n)) f->u64TimeStamp = static_cast<HI_U64>(n);
    if (getInteger(L, info, "seq", &n)) f->u32Seq = static_cast<HI_U32>(n);
  }
  std::size_t size = 0;
  const char* bytes = lua_tolstring(L, pcm, &size);
  const std::size_t unit = sampleBytes(f->enBitwidth), channels = channelsOf(f->enSoundmode);
  if (!unit || !channels || size == 0 || size > kPcmMax || size % (unit * channels)) return "Invalid PCM data";
  f->u32Len = static_cast<HI_U32>(size / channels);
  if (channels == 1) {
    f->pVirAddr[0] = const_cast<char*>(bytes);
    return nullptr;
  }
  char* left = planes;
  char* right = planes + f->u32Len;
  for (std::size_t at = 0; at < f->u32Len; at += unit) {
    std::memcpy(left + at, bytes, unit);
    std::memcpy(right + at, bytes + unit, unit);
    bytes += 2 * unit;
  }
  f->pVirAddr[0] = left;
  f->pVirAddr[1] = right;
  return nullptr;
}

}  // namespace Tessel
