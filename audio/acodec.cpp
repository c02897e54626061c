// InnerCodec, module class ACODEC and their registration.
#include "audio/acodec.h"

#include <cerrno>
#include <cstdio>
#include <fcntl.h>
#include <strings.h>

#include "frame/errors.h"
#include "frame/modules.h"

namespace Tessel {
namespace {

constexpr const char* kNotOpen = "ACODEC device is not open!";
constexpr const char* kNotOpenSides = "Device is not open";

struct Named {
  const char* name;
  int code;
};

// "MICLINE" and "MICLINE_D" share a code; the other pairs differ.
const Named kSources[] = {{"MIC_D", 0},   {"MICIN_D", 0}, {"MIC", 1},    {"MICIN", 1},   {"MICLINE", 2},
                          {"MICLINE_D", 2}, {"LINE", 3},  {"LINEIN", 3}, {"LINE_D", 4}, {"LINEIN_D", 4}};

// The string at idx equals name, case ignored.
bool is(lua_State* L, int idx, const char* name) {
  return lua_type(L, idx) == LUA_TSTRING && strcasecmp(lua_tostring(L, idx), name) == 0;
}

// A sample rate's code: one per family of rates; -1 for any other rate.
int rateCode(lua_Integer rate) {
  switch (rate) {
    case 8000: case 11025: case 12000: return ACODEC_RATE_8K_FAMILY;
    case 16000: case 22050: case 24000: return ACODEC_RATE_16K_FAMILY;
    case 32000: case 44100: case 48000: return ACODEC_RATE_32K_FAMILY;
    default: return -1;
  }
}

}  // namespace

bool InnerCodec::open(const char* method, const char* text) const {
  if (m_fd >= 0) return true;
  TESSEL_DIAG_AS(method, text);
  return false;
}

int InnerCodec::sendInt(const char* method, unsigned long request, int value) {
  if (!open(method, kNotOpen)) return -1;
  return tessel_dev_ioctl(m_fd, request, &value);
}

int InnerCodec::Open() {
  if (m_fd >= 0) return m_fd;
  m_fd = tessel_dev_open(m_path.c_str(), O_RDWR | O_CLOEXEC);  // not inherited by child processes
  if (m_fd < 0) {
    int cause = errno;  // writing the diagnostic line may change it
    TESSEL_DIAG("Fail to open audio codec device '" << m_path << "'!");
    errno = cause;
    perror("error detail");
  }
  return m_fd;
}

void InnerCodec::Close() {
  if (m_fd < 0) return;
  tessel_dev_close(m_fd);
  m_fd = -1;
}

int InnerCodec::Reset() {
  if (!open(__func__, kNotOpen)) return -1;
  return tessel_dev_ioctl(m_fd, ACODEC_RESET, nullptr);
}

// SetSampleRate(rate [, "I2S2"]): the second interface when the last
// argument names it.
int InnerCodec::SetSampleRate(lua_State* L) {
  if (!open(__func__, kNotOpen)) return lua_pushinteger(L, -1), 1;
  unsigned long request = is(L, lua_gettop(L), "I2S2") ? ACODEC_SET_I2S2_SAMPLE_RATE : ACODEC_SET_I2S1_SAMPLE_RATE;
  lua_Integer rate = luaL_checkinteger(L, 2);
  int code = rateCode(rate);
  if (code < 0) {
    TESSEL_DIAG("Not support sample rate of: " << rate);
    return lua_pushinteger(L, -1), 1;
  }
  lua_pushinteger(L, tessel_dev_ioctl(m_fd, request, &code));
  return 1;
}

// SetDataWidth(bits [, "I2S2"]): up to 8 bits, up to 23, or more.
int InnerCodec::SetDataWidth(lua_State* L) {
  if (!open(__func__, kNotOpen)) return lua_pushinteger(L, -1), 1;
  unsigned long request = is(L, lua_gettop(L), "I2S2") ? ACODEC_SET_I2S2_DATA_WIDTH : ACODEC_SET_I2S1_DATA_WIDTH;
  lua_Integer bits = luaL_checkinteger(L, 2);
  int code = bits <= 8 ? ACODEC_WIDTH_8BIT : bits < 24 ? ACODEC_WIDTH_16BIT : ACODEC_WIDTH_24BIT;
  lua_pushinteger(L, tessel_dev_ioctl(m_fd, request, &code));
  return 1;
}

int InnerCodec::SelectSource(lua_State* L) {
  if (!open(__func__, kNotOpen)) return lua_pushinteger(L, -1), 1;
  for (const Named& s : kSources)
    if (is(L, 2, s.name)) {
      int code = s.code;
      lua_pushinteger(L, tessel_dev_ioctl(m_fd, ACODEC_SELECT_SOURCE, &code));
      return 1;
    }
  TESSEL_DIAG("Invalid audio source of: " << (lua_isnone(L, 2) ? "nil" : luaL_tolstring(L, 2, nullptr)));
  lua_pushinteger(L, -1);
  return 1;
}

int InnerCodec::SelectADCI2S(lua_State* L) {
  lua_pushinteger(L, sendInt(__func__, ACODEC_SELECT_ADC_I2S, is(L, 2, "I2S2") ? 1 : 0));
  return 1;
}

int InnerCodec::SelectDACI2S(lua_State* L) {
  lua_pushinteger(L, sendInt(__func__, ACODEC_SELECT_DAC_I2S, is(L, 2, "I2S2") ? 1 : 0));
  return 1;
}

int InnerCodec::SetOutputDiffMode(lua_State* L) {
  int mode = is(L, 2, "LEFT") ? 0 : is(L, 2, "RIGHT") ? 1 : 2;
  lua_pushinteger(L, sendInt(__func__, ACODEC_SET_OUTPUT_DIFF_MODE, mode));
  return 1;
}

int InnerCodec::SetInputVolume(int volume) {
  if (!open(__func__, kNotOpen)) return -1;
  if (volume < -78 || volume > 80) {
    TESSEL_DIAG("Input volume gain out of range: " << volume << ", valid is [-78,80]");
    return -1;
  }
  return tessel_dev_ioctl(m_fd, ACODEC_SET_INPUT_VOLUME, &volume);
}

int InnerCodec::SetOutputVolume(int volume) {
  if (!open(__func__, kNotOpen)) return -1;
  if (volume < -121 || volume > 6) {
    TESSEL_DIAG("Output volume gain out of range: " << volume << ", valid is [-121,6]");
    return -1;
  }
  return tessel_dev_ioctl(m_fd, ACODEC_SET_OUTPUT_VOLUME, &volume);
}

// The volume; 65535 after a diagnostic line when the request fails.
int InnerCodec::GetInputVolume() {
  if (!open(__func__, kNotOpen)) return -1;
  int volume = 0;
  if (tessel_dev_ioctl(m_fd, ACODEC_GET_INPUT_VOLUME, &volume) == 0) return volume;
  TESSEL_DIAG("Fail to get audio input volume");
  return 65535;
}

int InnerCodec::GetOutputVolume() {
  if (!open(__func__, kNotOpen)) return -1;
  int volume = 0;
  if (tessel_dev_ioctl(m_fd, ACODEC_GET_OUTPUT_VOLUME, &volume) == 0) return volume;
  TESSEL_DIAG("Fail to get audio output volume");
  return 65535;
}

namespace {

// The two-sided setters: arguments 2 (left) and 3 (right), each turned into
// a request value by value() or skipped when it answers false. The result is
// true when the last request sent succeeded, or none was sent.
template <class Value, class Arg>
int setSides(lua_State* L, int fd, unsigned long left, unsigned long right, Arg&& value) {
  int last = 0;
  const unsigned long requests[] = {left, right};
  for (int side = 0; side < 2; ++side) {
    Value v;
    if (value(2 + side, &v)) last = tessel_dev_ioctl(fd, requests[side], &v);
  }
  lua_pushboolean(L, last == 0);
  return 1;
}

// The two-sided getters: each side pushed by push(), nil from the first
// side whose request fails.
template <class Value, class Push>
int getSides(lua_State* L, int fd, unsigned long left, unsigned long right, Push&& push) {
  const unsigned long requests[] = {left, right};
  for (int side = 0; side < 2; ++side) {
    Value v{};
    if (tessel_dev_ioctl(fd, requests[side], &v) != 0) {
      for (; side < 2; ++side) lua_pushnil(L);
      return 2;
    }
    push(v);
  }
  return 2;
}

// A gain record from a number (the gain) or "MUTE" (muted).
auto gainOf(lua_State* L) {
  return [L](int idx, ACODEC_GAIN_S* g) {
    if (lua_type(L, idx) == LUA_TNUMBER) {
      *g = {static_cast<int>(luaL_checkinteger(L, idx)), 0};
      return true;
    }
    if (is(L, idx, "MUTE")) {
      *g = {0, 1};
      return true;
    }
    return false;
  };
}

auto pushGain(lua_State* L) {
  return [L](const ACODEC_GAIN_S& g) {
    if (g.mute) lua_pushstring(L, "MUTE");
    else lua_pushinteger(L, g.gain);
  };
}

// A mute flag from a number (as it stands) or a boolean (1 or 0).
auto muteOf(lua_State* L) {
  return [L](int idx, int* v) {
    if (lua_type(L, idx) == LUA_TNUMBER) *v = static_cast<int>(luaL_checkinteger(L, idx));
    else if (lua_type(L, idx) == LUA_TBOOLEAN) *v = lua_toboolean(L, idx) ? 1 : 0;
    else return false;
    return true;
  };
}

}  // namespace

#define TESSEL_CODEC_OPEN_OR_NIL()                  \
  if (!open(__func__, kNotOpenSides)) {             \
    lua_pushnil(L);                                 \
    return 1;                                       \
  }

int InnerCodec::SetMICGain(lua_State* L) {
  TESSEL_CODEC_OPEN_OR_NIL()
  return setSides<int>(L, m_fd, ACODEC_SET_MIC_GAIN_LEFT, ACODEC_SET_MIC_GAIN_RIGHT, [L](int idx, int* v) {
    if (lua_type(L, idx) != LUA_TNUMBER) return false;
    *v = static_cast<int>(luaL_checkinteger(L, idx));
    return true;
  });
}

int InnerCodec::GetMICGain(lua_State* L) {
  TESSEL_CODEC_OPEN_OR_NIL()
  return getSides<int>(L, m_fd, ACODEC_GET_MIC_GAIN_LEFT, ACODEC_GET_MIC_GAIN_RIGHT,
                       [L](int v) { lua_pushinteger(L, v); });
}

int InnerCodec::SetDACGain(lua_State* L) {
  TESSEL_CODEC_OPEN_OR_NIL()
  return setSides<ACODEC_GAIN_S>(L, m_fd, ACODEC_SET_DAC_GAIN_LEFT, ACODEC_SET_DAC_GAIN_RIGHT, gainOf(L));
}

int InnerCodec::GetDACGain(lua_State* L) {
  TESSEL_CODEC_OPEN_OR_NIL()
  return getSides<ACODEC_GAIN_S>(L, m_fd, ACODEC_GET_DAC_GAIN_LEFT, ACODEC_GET_DAC_GAIN_RIGHT, pushGain(L));
}

int InnerCodec::SetADCGain(lua_State* L) {
  TESSEL_CODEC_OPEN_OR_NIL()
  return setSides<ACODEC_GAIN_S>(L, m_fd, ACODEC_SET_ADC_GAIN_LEFT, ACODEC_SET_ADC_GAIN_RIGHT, gainOf(L));
}

int InnerCodec::GetADCGain(lua_State* L) {
  TESSEL_CODEC_OPEN_OR_NIL()
  return getSides<ACODEC_GAIN_S>(L, m_fd, ACODEC_GET_ADC_GAIN_LEFT, ACODEC_GET_ADC_GAIN_RIGHT, pushGain(L));
}

int InnerCodec::SetMICMute(lua_State* L) {
  TESSEL_CODEC_OPEN_OR_NIL()
  return setSides<int>(L, m_fd, ACODEC_SET_MIC_MUTE_LEFT, ACODEC_SET_MIC_MUTE_RIGHT, muteOf(L));
}

int InnerCodec::SetDACMute(lua_State* L) {
  TESSEL_CODEC_OPEN_OR_NIL()
  return setSides<int>(L, m_fd, ACODEC_SET_DAC_MUTE_LEFT, ACODEC_SET_DAC_MUTE_RIGHT, muteOf(L));
}

#undef TESSEL_CODEC_OPEN_OR_NIL

// The request, not the value, tells muting from unmuting.
int InnerCodec::DacSoftMute() { return sendInt(__func__, ACODEC_DAC_SOFT_MUTE, 1); }
int InnerCodec::DacSoftUnmute() { return sendInt(__func__, ACODEC_DAC_SOFT_UNMUTE, 1); }

// CreateInnerCodec([path]): the device path when the last argument is a
// string; the codec is opened by Open.
int ACODEC::CreateInnerCodec(lua_State* L) {
  int top = lua_gettop(L);
  const char* path = top > 0 && lua_type(L, top) == LUA_TSTRING ? lua_tostring(L, top) : ACODEC_DEVICE_PATH;
  push(L, RefCountedObjectPtr<InnerCodec>(new InnerCodec(path)));
  return 1;
}

void ACODEC_Register(lua_State* L) {
  beginClass<InnerCodec>(L, "InnerCodec")
      .addFunction<&InnerCodec::Open>("Open")
      .addFunction<&InnerCodec::Close>("Close")
      .addFunction<&InnerCodec::Reset>("Reset")
      .addCFunction<&InnerCodec::SetSampleRate>("SetSampleRate")
      .addCFunction<&InnerCodec::SetDataWidth>("SetDataWidth")
      .addCFunction<&InnerCodec::SelectSource>("SelectSource")
      .addCFunction<&InnerCodec::SelectADCI2S>("SelectADCI2S")
      .addCFunction<&InnerCodec::SelectDACI2S>("SelectDACI2S")
      .addCFunction<&InnerCodec::SetOutputDiffMode>("SetOutputDiffMode")
      .addFunction<&InnerCodec::SetInputVolume>("SetInputVolume")
      .addFunction<&InnerCodec::GetInputVolume>("GetInputVolume")
      .addFunction<&InnerCodec::SetOutputVolume>("SetOutputVolume")
      .addFunction<&InnerCodec::GetOutputVolume>("GetOutputVolume")
      .addCFunction<&InnerCodec::SetMICGain>("SetMICGain")
      .addCFunction<&InnerCodec::GetMICGain>("GetMICGain")
      .addCFunction<&InnerCodec::SetDACGain>("SetDACGain")
      .addCFunction<&InnerCodec::GetDACGain>("GetDACGain")
      .addCFunction<&InnerCodec::SetADCGain>("SetADCGain")
      .addCFunction<&InnerCodec::GetADCGain>("GetADCGain")
      .addCFunction<&InnerCodec::SetMICMute>("SetMICMute")
      .addCFunction<&InnerCodec::SetDACMute>("SetDACMute")
      .addFunction<&InnerCodec::DacSoftMute>("DacSoftMute")
      .addFunction<&InnerCodec::DacSoftUnmute>("DacSoftUnmute");

  beginClass<ACODEC>(L, "ACODEC").addStaticCFunction("CreateInnerCodec", &ACODEC::CreateInnerCodec);
}

}  // namespace Tessel
