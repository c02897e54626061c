// Table forms of the HDMI structures.
#include "video/vo/hdmi.h"

namespace Tessel {
namespace {

// Value 17 has two names: both are read, the first is reported.
const EnumRow kFormatRows[] = {
    {0, "1080P60", kBoth},         {1, "1080P50", kBoth},         {2, "1080P30", kBoth},
    {3, "1080P25", kBoth},         {4, "1080P24", kBoth},         {5, "1080I60", kBoth},
    {6, "1080I50", kBoth},         {7, "720P60", kBoth},          {8, "720P50", kBoth},
    {9, "576P50", kBoth},          {10, "480P60", kBoth},         {11, "PAL", kBoth},
    {12, "PAL_N", kBoth},          {13, "PAL_Nc", kBoth},         {14, "NTSC", kBoth},
    {15, "NTSC_J", kBoth},         {16, "NTSC_PAL_M", kBoth},     {17, "SECAM_SIN", kBoth},
    {17, "SECAM", kBoth},          {18, "SECAM_COS", kBoth},      {19, "640x480@60", kBoth},
    {20, "800x600@60", kBoth},     {21, "1024x768@60", kBoth},    {22, "1280x720@60", kBoth},
    {23, "1280x800@60", kBoth},    {24, "1280x1024@60", kBoth},   {25, "1366x768@60", kBoth},
    {26, "1440x900@60", kBoth},    {27, "1440x900@60RB", kBoth},  {28, "1600x900@60RB", kBoth},
    {29, "1600x1200@60", kBoth},   {30, "1680x1050@60", kBoth},   {31, "1920x1080@60", kBoth},
    {32, "1920x1200@60", kBoth},   {33, "2048x1152@60", kBoth},   {34, "2560x1440@30", kBoth},
    {35, "2560x1440@60", kBoth},   {36, "2560x1600@60", kBoth},   {37, "1920x2160@30", kBoth},
    {38, "3840x2160@24", kBoth},   {39, "3840x2160@25", kBoth},   {40, "3840x2160@30", kBoth},
    {41, "3840x2160@50", kBoth},   {42, "3840x2160@60", kBoth},   {43, "4096x2160@24", kBoth},
    {44, "4096x2160@25", kBoth},   {45, "4096x2160@30", kBoth},   {46, "4096x2160@50", kBoth},
    {47, "4096x2160@60", kBoth},   {48, "USER", kBoth},
};
static_assert(sizeof kFormatRows / sizeof kFormatRows[0] == 50, "format table has 50 rows");
const EnumDesc kFormats = {kFormatRows, 50, Miss::Throw, 0, "Invalid/unsupported HDMI format",
                           Miss::Throw, 0, "Invalid/unsupported HDMI format", nullptr};

// A format without a name fails the read it is part of.
void readFormat(lua_State* L, int idx, HI_HDMI_VIDEO_FMT_E* out) {
  std::int32_t v = 0;
  readEnum(L, idx, &v, kFormats);
  *out = static_cast<HI_HDMI_VIDEO_FMT_E>(v);
}

void pushFormat(lua_State* L, const HI_HDMI_VIDEO_FMT_E& v) {
  const char* name = enumName(static_cast<std::int32_t>(v), kFormats);
  if (!name) convFail("Invalid/unsupported HDMI format");
  lua_pushstring(L, name);
}

const EnumRow kVideoModeRows[] = {{HI_HDMI_VIDEO_MODE_RGB444, "RGB444", kBoth},
                                  {HI_HDMI_VIDEO_MODE_YCBCR422, "YCBCR422", kBoth},
                                  {HI_HDMI_VIDEO_MODE_YCBCR444, "YCBCR444", kBoth}};
const EnumDesc kVideoModes = {kVideoModeRows, 3, Miss::Throw, 0, "Invalid HDMI video mode",
                              Miss::Throw, 0, "Invalid HDMI video mode", nullptr};

const EnumRow kSoundRows[] = {{HI_HDMI_SND_INTERFACE_I2S, "I2S", kBoth},
                              {HI_HDMI_SND_INTERFACE_SPDIF, "SPDIF", kBoth},
                              {HI_HDMI_SND_INTERFACE_HBR, "HBR", kBoth},
                              {HI_HDMI_SND_INTERFACE_I2S, "DEFAULT", kInOnly}};
const EnumDesc kSounds = {kSoundRows, 4, Miss::Throw, 0, "Invalid HDMI sound interface",
                          Miss::Throw, 0, "Invalid HDMI sound interface", nullptr};

// Deep colour crosses as bits per pixel; below 24 a number is the
// platform's value itself, and every other depth switches deep colour off.
void readDeepColor(lua_State* L, int idx, HI_HDMI_DEEP_COLOR_E* out) {
  if (lua_type(L, idx) != LUA_TNUMBER) convFail("Invalid HDMI deep color");
  lua_Integer bits = toInteger(L, idx);
  std::int32_t v;
  if (bits < 24) v = static_cast<std::int32_t>(bits);
  else if (bits == 24) v = HI_HDMI_DEEP_COLOR_24BIT;
  else if (bits == 30) v = HI_HDMI_DEEP_COLOR_30BIT;
  else if (bits == 36) v = HI_HDMI_DEEP_COLOR_36BIT;
  else v = HI_HDMI_DEEP_COLOR_OFF;
  *out = static_cast<HI_HDMI_DEEP_COLOR_E>(v);
}

void pushDeepColor(lua_State* L, const HI_HDMI_DEEP_COLOR_E& v) {
  switch (v) {
    case HI_HDMI_DEEP_COLOR_24BIT: lua_pushinteger(L, 24); break;
    case HI_HDMI_DEEP_COLOR_30BIT: lua_pushinteger(L, 30); break;
    case HI_HDMI_DEEP_COLOR_36BIT: lua_pushinteger(L, 36); break;
    case HI_HDMI_DEEP_COLOR_OFF: lua_pushinteger(L, 255); break;
    default: lua_pushnil(L); break;
  }
}

// Sample rates (hertz) and bit depths (bits) cross as plain numbers, with
// 48000 and 16 for a value that is not one.
template <class E, int Default>
void readPlain(lua_State* L, int idx, E* out) {
  *out = static_cast<E>(lua_type(L, idx) == LUA_TNUMBER ? toInteger(L, idx) : Default);
}

template <class E>
void pushPlain(lua_State* L, const E& v) {
  lua_pushinteger(L, static_cast<lua_Integer>(v));
}

void readSampleRate(lua_State* L, int idx, HI_HDMI_SAMPLE_RATE_E* out) { readPlain<HI_HDMI_SAMPLE_RATE_E, 48000>(L, idx, out); }
void readBitDepth(lua_State* L, int idx, HI_HDMI_BIT_DEPTH_E* out) { readPlain<HI_HDMI_BIT_DEPTH_E, 16>(L, idx, out); }

}  // namespace
}  // namespace Tessel

TESSEL_CUSTOM(HI_HDMI_VIDEO_FMT_E, readFormat, pushFormat)
TESSEL_ENUM(HI_HDMI_VIDEO_MODE_E, kVideoModes)
TESSEL_CUSTOM(HI_HDMI_DEEP_COLOR_E, readDeepColor, pushDeepColor)
TESSEL_ENUM(HI_HDMI_SND_INTERFACE_E, kSounds)
TESSEL_CUSTOM(HI_HDMI_SAMPLE_RATE_E, readSampleRate, pushPlain<HI_HDMI_SAMPLE_RATE_E>)
TESSEL_CUSTOM(HI_HDMI_BIT_DEPTH_E, readBitDepth, pushPlain<HI_HDMI_BIT_DEPTH_E>)

// The platform's output quantisation and the members after u83DParam are not
// part of the table form: zero on the way in.
TESSEL_STRUCT(HI_HDMI_ATTR_S, F(bEnableHdmi), F(bEnableVideo), F(enVideoFmt), F(enVidOutMode), F(enDeepColorMode),
              F(bxvYCCMode), F(bEnableAudio), F(enSoundIntf), F(bIsMultiChannel), F(enSampleRate),
              F(u8DownSampleParm), F(enBitDepth), F(u8I2SCtlVbit), F(bEnableAviInfoFrame), F(bEnableAudInfoFrame),
              F(bEnableSpdInfoFrame), F(bEnableMpegInfoFrame), F(bDebugFlag), F(bHDCPEnable), F(b3DEnable),
              F(u83DParam))

namespace Tessel {
namespace sink {

using S_ = HI_HDMI_SINK_CAPABILITY_S;
const Field fields[] = {
    F(bConnected), F(bSupportHdmi), F(bIsSinkPowerOn), F(bIsRealEDID), F(enNativeVideoFormat), F(bSupportYCbCr),
    F(bSupportxvYCC601), F(bSupportxvYCC709), F(u8MDBit), F(u32AudioInfoNum), F(u32IDProductCode),
    F(u32IDSerialNumber), F(u32WeekOfManufacture), F(u32YearOfManufacture), F(u8Version), F(u8Revision),
    F(u8EDIDExternBlockNum), F(bIsPhyAddrValid), F(u8PhyAddr_A), F(u8PhyAddr_B), F(u8PhyAddr_C), F(u8PhyAddr_D),
    F(bSupportDVIDual), F(bSupportDeepColorYCBCR444), F(bSupportDeepColor30Bit), F(bSupportDeepColor36Bit),
    F(bSupportDeepColor48Bit), F(bSupportAI), F(u32MaxTMDSClock), F(bI_Latency_Fields_Present),
    F(bLatency_Fields_Present), F(bHDMI_Video_Present), F(u8Video_Latency), F(u8Audio_Latency),
    F(u8Interlaced_Video_Latency), F(u8Interlaced_Audio_Latency), F(bSupportY420DC30Bit), F(bSupportY420DC36Bit),
    F(bSupportY420DC48Bit), F(bSupportHdmi_2_0)};
const StructDesc desc = {"HI_HDMI_SINK_CAPABILITY_S", nullptr, sizeof(S_), fields, sizeof fields / sizeof fields[0]};

}  // namespace sink

// The supported formats as their names in ascending order, and the
// manufacturer code as a string of at most four characters; the per-entry
// audio records are left out (their count is there).
void pushSinkCapability(lua_State* L, const HI_HDMI_SINK_CAPABILITY_S& cap) {
  pushStruct(L, &cap, sink::desc);
  lua_createtable(L, 0, 0);
  lua_Integer n = 0;
  for (int f = 0; f < static_cast<int>(HI_HDMI_VIDEO_FMT_BUTT); ++f) {
    if (!cap.bVideoFmtSupported[f]) continue;
    lua_pushstring(L, enumName(f, kFormats));
    lua_rawseti(L, -2, ++n);
  }
  lua_setfield(L, -2, "bVideoFmtSupported");
  size_t length = 0;
  while (length < sizeof cap.u8IDManufactureName && cap.u8IDManufactureName[length]) ++length;
  lua_pushlstring(L, reinterpret_cast<const char*>(cap.u8IDManufactureName), length);
  lua_setfield(L, -2, "u8IDManufactureName");
}

}  // namespace Tessel
