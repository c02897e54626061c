// Types shared by several modules: points, sizes, rectangles, borders, aspect
// ratios and the common video and payload enumerations.
#pragma once

#include "platform/mpp.h"

#include "frame/convert.h"

TESSEL_DECLARE_STRUCT(POINT_S)
TESSEL_DECLARE_STRUCT(SIZE_S)
TESSEL_DECLARE_STRUCT(RECT_S)
TESSEL_DECLARE_STRUCT(BORDER_S)
TESSEL_DECLARE_STRUCT(ASPECT_RATIO_S)
TESSEL_DECLARE_ENUM(VIDEO_FIELD_E)
TESSEL_DECLARE_ENUM(VIDEO_FORMAT_E)
TESSEL_DECLARE_ENUM(COMPRESS_MODE_E)
TESSEL_DECLARE_ENUM(PIXEL_FORMAT_E)
TESSEL_DECLARE_ENUM(PAYLOAD_TYPE_E)

namespace Tessel {
extern const EnumDesc kPixelFormats;
extern const EnumDesc kPayloadTypes;

// Reads a 64-bit time stamp with fn and pushes {high 32 bits, low 32 bits},
// or a single nil when fn fails. Returns the number of results.
template <class Read>
int pushTimeStamp(lua_State* L, Read&& fn) {
  HI_U64 pts = 0;
  if (fn(&pts) != HI_SUCCESS) {
    lua_pushnil(L);
    return 1;
  }
  lua_createtable(L, 2, 0);
  lua_pushinteger(L, static_cast<lua_Integer>(pts >> 32));
  lua_rawseti(L, -2, 1);
  lua_pushinteger(L, static_cast<lua_Integer>(pts & 0xFFFFFFFFu));
  lua_rawseti(L, -2, 2);
  return 1;
}
}  // namespace Tessel
