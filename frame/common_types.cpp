#include "frame/common_types.h"

#include <strings.h>

namespace Tessel {
namespace {

// Reads the numbers of a small structure that also accepts an array form:
// element i first, then the named key. Answers false when one is missing.
template <std::size_t N>
bool readNumbers(lua_State* L, int idx, const char* const (&keys)[N], lua_Integer (&out)[N]) {
  for (std::size_t i = 0; i < N; ++i) {
    if (lua_geti(L, idx, static_cast<lua_Integer>(i + 1)) != LUA_TNUMBER) {
      lua_pop(L, 1);
      if (lua_getfield(L, idx, keys[i]) != LUA_TNUMBER) {
        lua_pop(L, 1);
        return false;
      }
    }
    out[i] = toInteger(L, -1);
    lua_pop(L, 1);
  }
  return true;
}

template <std::size_t N>
void readSmall(lua_State* L, int idx, const char* const (&keys)[N], lua_Integer (&v)[N],
               const char* notTable, const char* missing) {
  if (lua_type(L, idx) != LUA_TTABLE) convFail(notTable);
  if (!readNumbers(L, idx, keys, v)) convFail(missing);
}

const char* const kPointKeys[] = {"s32X", "s32Y"};
const char* const kSizeKeys[] = {"u32Width", "u32Height"};
const char* const kRectKeys[] = {"s32X", "s32Y", "u32Width", "u32Height"};
const char* const kBorderKeys[] = {"u32TopWidth", "u32BottomWidth", "u32LeftWidth",
                                   "u32RightWidth"};

void readPoint(lua_State* L, int idx, POINT_S* p) {
  lua_Integer v[2];
  readSmall(L, idx, kPointKeys, v, "Invalid point structure", "Invalid fields");
  p->s32X = static_cast<HI_S32>(v[0]);
  p->s32Y = static_cast<HI_S32>(v[1]);
}

void readSize(lua_State* L, int idx, SIZE_S* s) {
  lua_Integer v[2];
  readSmall(L, idx, kSizeKeys, v, "Invalid size structure", "Invalid fields");
  s->u32Width = static_cast<HI_U32>(v[0]);
  s->u32Height = static_cast<HI_U32>(v[1]);
}

void readRect(lua_State* L, int idx, RECT_S* r) {
  lua_Integer v[4];
  readSmall(L, idx, kRectKeys, v, "Invalid rect structure", "Invalid rect structure");
  r->s32X = static_cast<HI_S32>(v[0]);
  r->s32Y = static_cast<HI_S32>(v[1]);
  r->u32Width = static_cast<HI_U32>(v[2]);
  r->u32Height = static_cast<HI_U32>(v[3]);
}

void readBorder(lua_State* L, int idx, BORDER_S* b) {
  lua_Integer v[4];
  readSmall(L, idx, kBorderKeys, v, "Invalid border structure", "Invalid BORDER_S fields");
  std::memset(b, 0, sizeof *b);
  b->u32TopWidth = static_cast<HI_U32>(v[0]);
  b->u32BottomWidth = static_cast<HI_U32>(v[1]);
  b->u32LeftWidth = static_cast<HI_U32>(v[2]);
  b->u32RightWidth = static_cast<HI_U32>(v[3]);
}

void setInt(lua_State* L, const char* key, lua_Integer v) {
  lua_pushinteger(L, v);
  lua_setfield(L, -2, key);
}

void pushPoint(lua_State* L, const POINT_S& p) {
  lua_createtable(L, 0, 2);
  setInt(L, "s32X", p.s32X);
  setInt(L, "s32Y", p.s32Y);
}

void pushSize(lua_State* L, const SIZE_S& s) {
  lua_createtable(L, 0, 2);
  setInt(L, "u32Width", s.u32Width);
  setInt(L, "u32Height", s.u32Height);
}

void pushRect(lua_State* L, const RECT_S& r) {
  lua_createtable(L, 0, 4);
  setInt(L, "s32X", r.s32X);
  setInt(L, "s32Y", r.s32Y);
  setInt(L, "u32Width", r.u32Width);
  setInt(L, "u32Height", r.u32Height);
}

void pushBorder(lua_State* L, const BORDER_S& b) {
  lua_createtable(L, 0, 4);
  setInt(L, "u32TopWidth", b.u32TopWidth);
  setInt(L, "u32BottomWidth", b.u32BottomWidth);
  setInt(L, "u32LeftWidth", b.u32LeftWidth);
  setInt(L, "u32RightWidth", b.u32RightWidth);
}

// "NONE" 0, "AUTO" 1, any other string MANUAL.
ASPECT_RATIO_E aspectMode(const char* s) {
  if (strcasecmp(s, "NONE") == 0) return ASPECT_RATIO_NONE;
  if (strcasecmp(s, "AUTO") == 0) return ASPECT_RATIO_AUTO;
  return ASPECT_RATIO_MANUAL;
}

// nil (or any value that is neither string nor table) leaves *a as it is; a
// string alone sets the mode and clears the rest; a table sets all three.
void readAspect(lua_State* L, int idx, ASPECT_RATIO_S* a) {
  int t = lua_type(L, idx);
  if (t == LUA_TSTRING) {
    std::memset(a, 0, sizeof *a);
    a->enMode = aspectMode(lua_tostring(L, idx));
    return;
  }
  if (t != LUA_TTABLE) return;
  std::memset(a, 0, sizeof *a);
  if (lua_getfield(L, idx, "enMode") == LUA_TSTRING) a->enMode = aspectMode(lua_tostring(L, -1));
  lua_pop(L, 1);
  lua_Integer color;
  if (getInteger(L, idx, "u32BgColor", &color)) a->u32BgColor = static_cast<HI_U32>(color);
  if (lua_getfield(L, idx, "stVideoRect") == LUA_TTABLE) {
    int top = lua_gettop(L) - 1;
    try {
      readRect(L, lua_gettop(L), &a->stVideoRect);
    } catch (...) {
      lua_settop(L, top);
      throw;
    }
  }
  lua_pop(L, 1);
}

void pushAspect(lua_State* L, const ASPECT_RATIO_S& a) {
  lua_createtable(L, 0, 3);
  lua_pushstring(L, a.enMode == ASPECT_RATIO_NONE ? "NONE"
                    : a.enMode == ASPECT_RATIO_AUTO ? "AUTO"
                                                    : "MANUAL");
  lua_setfield(L, -2, "enMode");
  setInt(L, "u32BgColor", a.u32BgColor);
  pushRect(L, a.stVideoRect);
  lua_setfield(L, -2, "stVideoRect");
}

const EnumRow kVideoFieldRows[] = {
    {1, "TOP", kBoth}, {2, "BOTTOM", kBoth}, {3, "INTERLACED", kBoth},
    {4, "FRAME", kBoth}, {4, "BOTH", kInOnly},
};
const EnumDesc kVideoFields = {kVideoFieldRows, 5, Miss::Value, 5, nullptr,
                               Miss::Throw, 0, "Invalid video field type", nullptr};

const EnumRow kVideoFormatRows[] = {{0, "LINEAR", kBoth}, {1, "TILE", kBoth}, {2, "TILE64", kBoth}};
const EnumDesc kVideoFormats = {kVideoFormatRows, 3, Miss::Value, 3, nullptr,
                                Miss::Throw, 0, "Invalid video format", nullptr};

const EnumRow kCompressRows[] = {{0, "NONE", kBoth}, {1, "SEG", kBoth}, {2, "SEG128", kBoth},
                                 {3, "LINE", kBoth}, {4, "FRAME", kBoth}};
const EnumDesc kCompressModes = {kCompressRows, 5, Miss::Value, 5, nullptr,
                                 Miss::Throw, 0, "Invalid compress mode", nullptr};

const EnumRow kPixelFormatRows[] = {
    {0, "RGB_1BPP", kBoth},           {1, "RGB_2BPP", kBoth},
    {2, "RGB_4BPP", kBoth},           {3, "RGB_8BPP", kBoth},
    {4, "RGB_444", kBoth},            {5, "RGB_4444", kBoth},
    {6, "RGB_555", kBoth},            {7, "RGB_565", kBoth},
    {8, "RGB_1555", kBoth},           {9, "RGB_888", kBoth},
    {10, "RGB_8888", kBoth},          {11, "RGB_PLANAR_888", kBoth},
    {12, "RGB_BAYER_8BPP", kBoth},    {13, "RGB_BAYER_10BPP", kBoth},
    {14, "RGB_BAYER_12BPP", kBoth},   {15, "RGB_BAYER_14BPP", kBoth},
    {16, "RGB_BAYER", kBoth},         {17, "YUV_A422", kBoth},
    {18, "YUV_A444", kBoth},          {19, "YUV_PLANAR_422", kBoth},
    {20, "YUV_PLANAR_420", kBoth},    {21, "YUV_PLANAR_444", kBoth},
    {22, "YUV_SEMIPLANAR_422", kBoth}, {23, "YUV_SEMIPLANAR_420", kBoth},
    {24, "YUV_SEMIPLANAR_444", kBoth}, {25, "UYVY_PACKAGE_422", kBoth},
    {26, "YUYV_PACKAGE_422", kBoth},  {27, "VYUY_PACKAGE_422", kBoth},
    {28, "YCbCr_PLANAR", kBoth},      {29, "YUV_400", kBoth},
    {30, "invalid", kOutOnly},
};

const EnumRow kPayloadRows[] = {
    {0, "PCMU", kBoth},          {1, "1016", kBoth},          {2, "G721", kBoth},
    {3, "GSM", kBoth},           {4, "G723", kBoth},          {5, "DVI4_8K", kBoth},
    {6, "DVI4_16K", kBoth},      {7, "LPC", kBoth},           {8, "PCMA", kBoth},
    {9, "G722", kBoth},          {10, "S16BE_STEREO", kBoth}, {11, "S16BE_MONO", kBoth},
    {12, "QCELP", kBoth},        {13, "CN", kBoth},           {14, "MPEGAUDIO", kBoth},
    {15, "G728", kBoth},         {16, "DVI4_3", kBoth},       {17, "DVI4_4", kBoth},
    {18, "G729", kBoth},         {19, "G711A", kBoth},        {20, "G711U", kBoth},
    {21, "G726", kBoth},         {22, "G729A", kBoth},        {23, "LPCM", kBoth},
    {25, "CelB", kBoth},         {26, "JPEG", kBoth},         {27, "CUSM", kBoth},
    {28, "NV", kBoth},           {29, "PICW", kBoth},         {30, "CPV", kBoth},
    {31, "H261", kBoth},         {32, "MPEGVIDEO", kBoth},    {33, "MPEG2TS", kBoth},
    {34, "H263", kBoth},         {35, "SPEG", kBoth},         {36, "MPEG2VIDEO", kBoth},
    {37, "AAC", kBoth},          {38, "WMA9STD", kBoth},      {39, "HEAAC", kBoth},
    {40, "PCM_VOICE", kBoth},    {41, "PCM_AUDIO", kBoth},    {42, "AACLC", kBoth},
    {43, "MP3", kBoth},          {49, "ADPCMA", kBoth},       {50, "AEC", kBoth},
    {95, "X_LD", kBoth},         {96, "H264", kBoth},         {200, "D_GSM_HR", kBoth},
    {201, "D_GSM_EFR", kBoth},   {202, "D_L8", kBoth},        {203, "D_RED", kBoth},
    {204, "D_VDVI", kBoth},      {220, "D_BT656", kBoth},     {221, "D_H263_1998", kBoth},
    {222, "D_MP1S", kBoth},      {223, "D_MP2P", kBoth},      {224, "D_BMPEG", kBoth},
    {230, "MP4VIDEO", kBoth},    {237, "MP4AUDIO", kBoth},    {238, "VC1", kBoth},
    {255, "JVC_ASF", kBoth},     {256, "D_AVI", kBoth},       {257, "DIVX3", kBoth},
    {258, "AVS", kBoth},         {259, "REAL8", kBoth},       {260, "REAL9", kBoth},
    {261, "VP6\t", kBoth},       {262, "VP6F", kBoth},        {263, "VP6A", kBoth},
    {264, "SORENSON", kBoth},    {265, "H265", kBoth},        {266, "VP8", kBoth},
    {267, "MVC", kBoth},         {268, "MAX", kBoth},         {1001, "AMR", kBoth},
    {1002, "MJPEG", kBoth},      {1003, "AMRWB", kBoth},
};
static_assert(sizeof kPayloadRows / sizeof kPayloadRows[0] == 77, "payload table has 77 rows");

}  // namespace

const EnumDesc kPixelFormats = {kPixelFormatRows, 31, Miss::Value, 30, nullptr,
                                Miss::Value, 30, nullptr, nullptr};
const EnumDesc kPayloadTypes = {kPayloadRows, 77, Miss::Throw, 0, "Unknown payload type",
                                Miss::Throw, 0, "Invalid payload type", "invalid"};

}  // namespace Tessel

TESSEL_CUSTOM(POINT_S, readPoint, pushPoint)
TESSEL_CUSTOM(SIZE_S, readSize, pushSize)
TESSEL_CUSTOM(RECT_S, readRect, pushRect)
TESSEL_CUSTOM(BORDER_S, readBorder, pushBorder)
TESSEL_CUSTOM_EX(ASPECT_RATIO_S, readAspect, pushAspect, true)
TESSEL_ENUM(VIDEO_FIELD_E, kVideoFields)
TESSEL_ENUM(VIDEO_FORMAT_E, kVideoFormats)
TESSEL_ENUM(COMPRESS_MODE_E, kCompressModes)
TESSEL_ENUM(PIXEL_FORMAT_E, kPixelFormats)
TESSEL_ENUM(PAYLOAD_TYPE_E, kPayloadTypes)
