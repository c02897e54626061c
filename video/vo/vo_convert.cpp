// Table forms of the output structures.
#include <strings.h>

#include "video/vo/vo.h"

namespace Tessel {
namespace {

// ---- interface types: a bit set -----------------------------------------------

struct Bit {
  HI_U32 bit;
  const char* name;
};

const Bit kIntfBits[] = {{VO_INTF_CVBS, "CVBS"},     {VO_INTF_YPBPR, "YPBPR"},   {VO_INTF_VGA, "VGA"},
                         {VO_INTF_BT656, "BT656"},   {VO_INTF_BT1120, "BT1120"}, {VO_INTF_HDMI, "HDMI"},
                         {VO_INTF_LCD, "LCD"},       {VO_INTF_BT656_H, "BT656_H"}, {VO_INTF_BT656_L, "BT656_L"}};

HI_U32 intfBit(const char* name) {
  for (const Bit& b : kIntfBits)
    if (strcasecmp(name, b.name) == 0) return b.bit;
  return 0;
}

// A number as the bit set itself; one name; or an array of names, whose
// unknown names and other values are skipped.
void readIntfType(lua_State* L, int idx, void* out, const void*) {
  HI_U32 bits = 0;
  switch (lua_type(L, idx)) {
    case LUA_TNUMBER:
      bits = static_cast<HI_U32>(toInteger(L, idx));
      break;
    case LUA_TSTRING:
      bits = intfBit(lua_tostring(L, idx));
      if (!bits) convFail("Invalid vout interface type");
      break;
    case LUA_TTABLE: {
      lua_Integer n = static_cast<lua_Integer>(lua_rawlen(L, idx));
      for (lua_Integer i = 1; i <= n; ++i) {
        if (lua_rawgeti(L, idx, i) == LUA_TSTRING) bits |= intfBit(lua_tostring(L, -1));
        lua_pop(L, 1);
      }
      break;
    }
    default:
      convFail("Invalid interface type");
  }
  std::memcpy(out, &bits, sizeof bits);
}

// Always an array of names, in ascending bit order; bits without a name are
// left out.
void pushIntfType(lua_State* L, const void* in, const void*) {
  HI_U32 bits;
  std::memcpy(&bits, in, sizeof bits);
  lua_createtable(L, 0, 0);
  lua_Integer n = 0;
  for (unsigned bit = 0; bit < 16; ++bit) {
    if (!(bits >> bit & 1u)) continue;
    for (const Bit& b : kIntfBits) {
      if (b.bit != (1u << bit)) continue;
      lua_pushstring(L, b.name);
      lua_rawseti(L, -2, ++n);
    }
  }
}

const Converter kIntfTypes = {&readIntfType, &pushIntfType, nullptr};

// ---- interface timing -------------------------------------------------------------

const EnumRow kSyncRows[] = {
    {0, "PAL", kBoth},           {1, "NTSC", kBoth},          {2, "960H_PAL", kBoth},
    {3, "960H_NTSC", kBoth},     {4, "1080P24", kBoth},       {5, "1080P25", kBoth},
    {6, "1080P30", kBoth},       {7, "720P50", kBoth},        {8, "720P60", kBoth},
    {9, "1080I50", kBoth},       {10, "1080I60", kBoth},      {11, "1080P50", kBoth},
    {12, "1080P60", kBoth},      {13, "576P50", kBoth},       {14, "480P60", kBoth},
    {15, "640x480@60", kBoth},   {16, "800x600@60", kBoth},   {17, "1024x768@60", kBoth},
    {18, "1280x1024@60", kBoth}, {19, "1366x768@60", kBoth},  {20, "1440x900@60", kBoth},
    {21, "1280x800@60", kBoth},  {22, "1680x1050@60", kBoth}, {23, "1920x2160@30", kBoth},
    {24, "1600x1200@60", kBoth}, {25, "1920x1200@60", kBoth}, {26, "2560x1440@30", kBoth},
    {27, "2560x1440@60", kBoth}, {28, "2560x1600@60", kBoth}, {29, "3840x2160@25", kBoth},
    {30, "3840x2160@30", kBoth}, {31, "3840x2160@50", kBoth}, {32, "3840x2160@60", kBoth},
    {33, "USER", kBoth},
};
static_assert(sizeof kSyncRows / sizeof kSyncRows[0] == VO_OUTPUT_BUTT, "one row per timing");
const EnumDesc kSyncs = {kSyncRows, VO_OUTPUT_BUTT, Miss::Throw, 0, "Invalid VOUT sync type",
                         Miss::Throw, 0, "Invalid VOUT sync type", nullptr};

void readSync(lua_State* L, int idx, VO_INTF_SYNC_E* out) {
  std::int32_t v = 0;
  readEnum(L, idx, &v, kSyncs);
  *out = static_cast<VO_INTF_SYNC_E>(v);
}

// A timing without a name fails the whole read.
void pushSync(lua_State* L, const VO_INTF_SYNC_E& v) {
  const char* name = enumName(static_cast<std::int32_t>(v), kSyncs);
  if (!name) convFail("Invalid VOUT sync type");
  lua_pushstring(L, name);
}

// In the public attributes the timing is taken from a number or a name only;
// a value of another type leaves it zero.
void readPubSync(lua_State* L, int idx, void* out, const void*) {
  int t = lua_type(L, idx);
  if (t == LUA_TNUMBER || t == LUA_TSTRING) readSync(L, idx, static_cast<VO_INTF_SYNC_E*>(out));
}

void pushPubSync(lua_State* L, const void* in, const void*) {
  pushSync(L, *static_cast<const VO_INTF_SYNC_E*>(in));
}

const Converter kPubSync = {&readPubSync, &pushPubSync, nullptr};

// ---- channel field, write-back mode -------------------------------------------------

const EnumRow kFieldRows[] = {{VO_FIELD_TOP, "TOP", kBoth}, {VO_FIELD_BOTTOM, "BOTTOM", kBoth},
                              {VO_FIELD_BOTH, "BOTH", kBoth}, {VO_FIELD_BOTH, "INTERLACED", kInOnly}};
const EnumDesc kFields = {kFieldRows, 4, Miss::Value, VO_FIELD_BUTT, nullptr,
                          Miss::Value, VO_FIELD_BUTT, nullptr, nullptr};

const EnumRow kWbcModeRows[] = {{VO_WBC_MODE_NOMAL, "NORMAL", kBoth},
                                {VO_WBC_MODE_DROP_REPEAT, "DROP_REPEAT", kBoth},
                                {VO_WBC_MODE_PROG_TO_INTL, "PROG_TO_INTL", kBoth},
                                {VO_WBC_MODE_PROG_TO_INTL, "P2I", kInOnly}};
const EnumDesc kWbcModes = {kWbcModeRows, 4, Miss::Throw, 0, "Invalid WBC mode type",
                            Miss::Throw, 0, "Invalid WBC mode type", "UNKNOWN"};

// ---- zoom ratio --------------------------------------------------------------------

const char* const kRatioKeys[] = {"u32XRatio", "u32YRatio", "u32WRatio", "u32HRatio"};

// {x, y, w, h} (recognised by a number at index 1) or the four keys.
void readZoomRatio(lua_State* L, int idx, VO_ZOOM_RATIO_S* r) {
  std::memset(r, 0, sizeof *r);
  if (lua_type(L, idx) != LUA_TTABLE) convFail("Invalid zoom ratio structure");
  HI_U32* out[] = {&r->u32XRatio, &r->u32YRatio, &r->u32WRatio, &r->u32HRatio};
  lua_rawgeti(L, idx, 1);
  bool array = lua_type(L, -1) == LUA_TNUMBER;
  lua_pop(L, 1);
  for (int i = 0; i < 4; ++i) {
    int t = array ? lua_rawgeti(L, idx, i + 1) : lua_getfield(L, idx, kRatioKeys[i]);
    if (t != LUA_TNUMBER) {
      lua_pop(L, 1);
      convFail("Invalid VO_ZOOM_RATIO_S fields");
    }
    *out[i] = static_cast<HI_U32>(toInteger(L, -1));
    lua_pop(L, 1);
  }
}

void pushZoomRatio(lua_State* L, const VO_ZOOM_RATIO_S& r) {
  const HI_U32 in[] = {r.u32XRatio, r.u32YRatio, r.u32WRatio, r.u32HRatio};
  lua_createtable(L, 0, 4);
  for (int i = 0; i < 4; ++i) {
    lua_pushinteger(L, in[i]);
    lua_setfield(L, -2, kRatioKeys[i]);
  }
}

}  // namespace
}  // namespace Tessel

TESSEL_CUSTOM(VO_INTF_SYNC_E, readSync, pushSync)
// The timing's flags reach the platform as 1 or 0, whatever number a script gives.
TESSEL_STRUCT(VO_SYNC_INFO_S, FLAG(bSynm), FLAG(bIop), F(u8Intfb), F(u16Vact), F(u16Vbb), F(u16Vfb), F(u16Hact),
              F(u16Hbb), F(u16Hfb), F(u16Hmid), F(u16Bvact), F(u16Bvbb), F(u16Bvfb), F(u16Hpw), F(u16Vpw), FLAG(bIdv),
              FLAG(bIhs), FLAG(bIvs))
// The interface type is a bit set held in an integer; its field takes the
// bit-set converter like an enumeration.
TESSEL_STRUCT(VO_PUB_ATTR_S, F(u32BgColor),
              ::Tessel::Field{"enIntfType", "enIntfType", static_cast<std::uint32_t>(offsetof(S_, enIntfType)),
                              ::Tessel::Kind::Enum, &::Tessel::kIntfTypes},
              FIELD_CONV(enIntfSync, ::Tessel::kPubSync), F(stSyncInfo))
TESSEL_STRUCT(VO_VIDEO_LAYER_ATTR_S, F(stDispRect), F(stImageSize), F(u32DispFrmRt), F(enPixFormat),
              F(bDoubleFrame), F(bClusterMode))

TESSEL_STRUCT(VO_CHN_ATTR_S, F(u32Priority), F(stRect), F(bDeflicker))
TESSEL_CUSTOM(VO_ZOOM_RATIO_S, readZoomRatio, pushZoomRatio)
TESSEL_ENUM(VO_DISPLAY_FIELD_E, kFields)

// The pixel format goes in as "enPixelFormat" and comes out as "enPixFormat".
TESSEL_STRUCT(VO_WBC_ATTR_S, F(stTargetSize), FIELD(enPixelFormat, "enPixelFormat", "enPixFormat"),
              F(u32FrameRate))
TESSEL_ENUM(VO_WBC_MODE_E, kWbcModes)
