// Table forms of the region structures.
//
// Region and channel attributes hold a union whose member the region type
// selects ("type" in RGN_ATTR_S, "enType" in RGN_CHN_ATTR_S); a cover's area
// is a rectangle or a quadrangle by its area type. Each is a UnionStruct.
#include <strings.h>

#include "region/rgn.h"

namespace Tessel {
namespace {

const EnumRow kTypeRows[] = {{OVERLAY_RGN, "OVERLAY", kBoth}, {COVER_RGN, "COVER", kBoth},
                             {COVEREX_RGN, "COVEREX", kBoth}, {OVERLAYEX_RGN, "OVERLAYEX", kBoth},
                             {LINE_RGN, "LINE", kBoth},       {MOSAIC_RGN, "MOSAIC", kBoth}};
const EnumDesc kTypes = {kTypeRows, 6, Miss::Throw, 0, "Invalid region type",
                         Miss::Throw, 0, "Invalid region type", nullptr};

// Unknown spellings store the value past the last, as they always have.
const EnumRow kAreaRows[] = {{AREA_RECT, "RECT", kBoth}, {AREA_QUAD_RANGLE, "QUAD", kInOnly},
                             {AREA_QUAD_RANGLE, "QUAD_RANGLE", kBoth}};
const EnumDesc kAreas = {kAreaRows, 3, Miss::Value, AREA_BUTT, nullptr, Miss::Throw, 0, "Invalid area type", nullptr};

// "<..." or "LESSTHAN_LUM" is below the threshold, ">..." or "MORETHAN_LUM"
// above, any other string past the last; a number as it stands; other
// values leave the field as it is.
void readInvertMode(lua_State* L, int idx, INVERT_COLOR_MODE_E* out) {
  if (lua_type(L, idx) == LUA_TNUMBER) {
    *out = static_cast<INVERT_COLOR_MODE_E>(toInteger(L, idx));
  } else if (lua_type(L, idx) == LUA_TSTRING) {
    const char* s = lua_tostring(L, idx);
    if (s[0] == '<' || strcasecmp(s, "LESSTHAN_LUM") == 0) *out = LESSTHAN_LUM_THRESH;
    else if (s[0] == '>' || strcasecmp(s, "MORETHAN_LUM") == 0) *out = MORETHAN_LUM_THRESH;
    else *out = INVERT_COLOR_BUTT;
  }
}

void pushInvertMode(lua_State* L, const INVERT_COLOR_MODE_E& v) {
  if (v == LESSTHAN_LUM_THRESH) lua_pushstring(L, "<LUM");
  else if (v == MORETHAN_LUM_THRESH) lua_pushstring(L, ">LUM");
  else lua_pushnil(L);
}

// The mosaic block size crosses as the platform's raw number.
void readBlockSize(lua_State* L, int idx, MOSAIC_BLK_SIZE_E* out) {
  if (lua_type(L, idx) == LUA_TNUMBER) *out = static_cast<MOSAIC_BLK_SIZE_E>(toInteger(L, idx));
}

void pushBlockSize(lua_State* L, const MOSAIC_BLK_SIZE_E& v) { lua_pushinteger(L, static_cast<lua_Integer>(v)); }

// An array of N points, as {POINT_S, ...}.
template <int N>
void readPoints(lua_State* L, int idx, void* out, const void*) {
  POINT_S* points = static_cast<POINT_S*>(out);
  for (int i = 0; i < N; ++i) {
    if (lua_rawgeti(L, idx, i + 1) != LUA_TNIL) {
      try {
        read(L, -1, &points[i]);
      } catch (...) {
        lua_pop(L, 1);
        throw;
      }
    }
    lua_pop(L, 1);
  }
}

template <int N>
void pushPoints(lua_State* L, const void* in, const void*) {
  const POINT_S* points = static_cast<const POINT_S*>(in);
  lua_createtable(L, N, 0);
  for (int i = 0; i < N; ++i) {
    push(L, points[i]);
    lua_rawseti(L, -2, i + 1);
  }
}

const Converter kTwoPoints = {&readPoints<2>, &pushPoints<2>, nullptr};
const Converter kFourPoints = {&readPoints<4>, &pushPoints<4>, nullptr};

// A field holding an array of points.
template <class S>
constexpr Field pointsField(const char* key, std::size_t offset, const Converter& conv) {
  return Field{key, key, static_cast<std::uint32_t>(offset), Kind::Nested, &conv};
}

// ---- region attributes --------------------------------------------------------------

namespace rgn_attr {
using S_ = RGN_ATTR_S;
const Field fields[] = {FIELD(enType, "type", "type")};
}  // namespace rgn_attr

// Overlays have a member; the other types nothing to read or write.
const Converter* regionMember(const void* whole) {
  switch (static_cast<const RGN_ATTR_S*>(whole)->enType) {
    case OVERLAY_RGN: return &ConvOf<OVERLAY_ATTR_S>::value;
    case OVERLAYEX_RGN: return &ConvOf<OVERLAYEX_ATTR_S>::value;
    default: return nullptr;
  }
}

const UnionStruct kRegionAttr = {{"RGN_ATTR_S", "RGN_ATTR_S must be a table for structure convension",
                                  sizeof(RGN_ATTR_S), rgn_attr::fields, 1},
                                 "attr", &regionMember, offsetof(RGN_ATTR_S, unAttr)};

// ---- channel attributes ---------------------------------------------------------------

namespace chn_attr {
using S_ = RGN_CHN_ATTR_S;
const Field fields[] = {F(bShow), F(enType)};
}  // namespace chn_attr

const Converter* channelMember(const void* whole) {
  switch (static_cast<const RGN_CHN_ATTR_S*>(whole)->enType) {
    case OVERLAY_RGN: return &ConvOf<OVERLAY_CHN_ATTR_S>::value;
    case COVER_RGN: return &ConvOf<COVER_CHN_ATTR_S>::value;
    case COVEREX_RGN: return &ConvOf<COVEREX_CHN_ATTR_S>::value;
    case OVERLAYEX_RGN: return &ConvOf<OVERLAYEX_CHN_ATTR_S>::value;
    case LINE_RGN: return &ConvOf<LINE_CHN_ATTR_S>::value;
    case MOSAIC_RGN: return &ConvOf<MOSAIC_CHN_ATTR_S>::value;
    default: return nullptr;
  }
}

const UnionStruct kChannelAttr = {{"RGN_CHN_ATTR_S", "RGN_CHN_ATTR_S must be a table for structure convension",
                                   sizeof(RGN_CHN_ATTR_S), chn_attr::fields, 2},
                                  "attr", &channelMember, offsetof(RGN_CHN_ATTR_S, unChnAttr)};

// ---- covers -------------------------------------------------------------------------------

// The area is a rectangle or a quadrangle; a rectangle is also written
// under "stRect".
template <class S>
const Converter* coverArea(const void* whole) {
  switch (static_cast<const S*>(whole)->enCoverType) {
    case AREA_RECT: return &ConvOf<RECT_S>::value;
    case AREA_QUAD_RANGLE: return &ConvOf<RGN_QUADRANGLE_S>::value;
    default: return nullptr;
  }
}

namespace cover {
using S_ = COVER_CHN_ATTR_S;
const Field fields[] = {F(enCoverType), F(u32Color), F(u32Layer)};
}  // namespace cover
namespace cover_ex {
using S_ = COVEREX_CHN_ATTR_S;
const Field fields[] = {F(enCoverType), F(u32Color), F(u32Layer)};
}  // namespace cover_ex

const UnionStruct kCover = {{"COVER_CHN_ATTR_S", "COVER_CHN_ATTR_S must be a table for structure convension",
                             sizeof(COVER_CHN_ATTR_S), cover::fields, 3},
                            "cover", &coverArea<COVER_CHN_ATTR_S>, offsetof(COVER_CHN_ATTR_S, stRect)};
const UnionStruct kCoverEx = {{"COVEREX_CHN_ATTR_S", "COVEREX_CHN_ATTR_S must be a table for structure convension",
                               sizeof(COVEREX_CHN_ATTR_S), cover_ex::fields, 3},
                              "cover", &coverArea<COVEREX_CHN_ATTR_S>, offsetof(COVEREX_CHN_ATTR_S, stRect)};

template <class S>
void readCover(lua_State* L, int idx, S* out, const UnionStruct& u) {
  readUnionStruct(L, idx, out, u);
}

template <class S>
void pushCover(lua_State* L, const S& in, const UnionStruct& u) {
  pushUnionStruct(L, &in, u);
  if (in.enCoverType == AREA_RECT) {
    push(L, in.stRect);
    lua_setfield(L, -2, "stRect");
  }
}

void readCoverChn(lua_State* L, int idx, COVER_CHN_ATTR_S* out) { readCover(L, idx, out, kCover); }
void pushCoverChn(lua_State* L, const COVER_CHN_ATTR_S& in) { pushCover(L, in, kCover); }
void readCoverExChn(lua_State* L, int idx, COVEREX_CHN_ATTR_S* out) { readCover(L, idx, out, kCoverEx); }
void pushCoverExChn(lua_State* L, const COVEREX_CHN_ATTR_S& in) { pushCover(L, in, kCoverEx); }

}  // namespace
}  // namespace Tessel

TESSEL_ENUM(RGN_TYPE_E, kTypes)
TESSEL_ENUM(RGN_AREA_TYPE_E, kAreas)
TESSEL_CUSTOM(INVERT_COLOR_MODE_E, readInvertMode, pushInvertMode)
TESSEL_CUSTOM(MOSAIC_BLK_SIZE_E, readBlockSize, pushBlockSize)

// The canvas count is not part of the table form.
TESSEL_STRUCT(OVERLAY_ATTR_S, F(enPixelFmt), F(u32BgColor), F(stSize))
TESSEL_STRUCT(OVERLAYEX_ATTR_S, F(enPixelFmt), F(u32BgColor), F(stSize))
TESSEL_UNION_STRUCT(RGN_ATTR_S, kRegionAttr)

TESSEL_UNION_STRUCT(RGN_CHN_ATTR_S, kChannelAttr)
TESSEL_STRUCT(OVERLAY_QP_INFO_S, F(bQpDisable), F(bAbsQp), F(s32Qp))
TESSEL_STRUCT(OVERLAY_INVERT_COLOR_S, F(stInvColArea), F(u32LumThresh), F(enChgMod), F(bInvColEn))
TESSEL_STRUCT(OVERLAY_CHN_ATTR_S, F(stPoint), F(u32FgAlpha), F(u32BgAlpha), F(u32Layer), F(stQpInfo),
              F(stInvertColor))
TESSEL_STRUCT(OVERLAYEX_CHN_ATTR_S, F(stPoint), F(u32FgAlpha), F(u32BgAlpha), F(u32Layer))
TESSEL_STRUCT(RGN_QUADRANGLE_S, F(bSolid), F(u32LineWidth),
              ::Tessel::pointsField<S_>("stPoint", offsetof(S_, stPoint), ::Tessel::kFourPoints))
// The cover's coordinate mode is not part of the table form.
TESSEL_CUSTOM(COVER_CHN_ATTR_S, readCoverChn, pushCoverChn)
TESSEL_CUSTOM(COVEREX_CHN_ATTR_S, readCoverExChn, pushCoverExChn)
TESSEL_STRUCT(LINE_CHN_ATTR_S, F(u32LineWidth), F(u32LineColor),
              ::Tessel::pointsField<S_>("stLinePoints", offsetof(S_, stLinePoints), ::Tessel::kTwoPoints))
TESSEL_STRUCT(MOSAIC_CHN_ATTR_S, F(stRect), F(enBlkSize), F(u32Layer))
TESSEL_STRUCT(RGN_CANVAS_INFO_S, F(u32PhyAddr), F(u32VirtAddr), F(stSize), F(u32Stride), F(enPixelFmt))
