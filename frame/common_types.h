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

/***
The small structures every module shares.
@module frame
*/

/***
A point: a table with both keys, or the array form `{x, y}`.
@table POINT_S
@int s32X
@int s32Y
*/

/***
A size: a table with both keys, or the array form `{width, height}`.
@table SIZE_S
@int u32Width
@int u32Height
*/

/***
A rectangle: a table with the four keys, or the array form `{x, y, width, height}`. Each value is
taken from its array element first and else from its key, so `{0, 0, u32Width = 640, u32Height = 480}`
is accepted too; read back, the rectangle has the four keys. A value that is not a table, and a
missing or non-numeric value, both fail with "Invalid rect structure".
@table RECT_S
@int s32X left edge, in pixels
@int s32Y top edge, in pixels
@int u32Width in pixels
@int u32Height in pixels
*/

/***
The widths of a border: a table with the four keys, or the array form `{top, bottom, left, right}`
(each value from its array element first, else from its key); read back, the four keys. A value
that is not a table fails with "Invalid border structure", a missing or non-numeric width with
`"Invalid BORDER_S fields"`.
@table BORDER_S
@int u32TopWidth in pixels
@int u32BottomWidth in pixels
@int u32LeftWidth in pixels
@int u32RightWidth in pixels
*/

/***
How a picture fits its window: a table whose keys may each be left out (what is left out is 0,
so an empty table is mode "NONE"). As a field of another table (`stAspectRatio` of
`VPSS_CHN_MODE_S`) it may also be **the mode name alone** (`stAspectRatio = "AUTO"`), which clears
the colour and the rectangle; `nil` there leaves the ratio zero. A `stVideoRect` that does not
convert fails with "Invalid rect structure". Read back, all three keys are present and the mode is
"NONE", "AUTO" or "MANUAL".
@table ASPECT_RATIO_S
@tparam[opt] string enMode "NONE" (the picture fills the window), "AUTO" (the picture keeps its
proportions, with bars in `u32BgColor`) or "MANUAL" (the picture goes into `stVideoRect`), in any
case; **any other string counts as "MANUAL"**, and a number is ignored (mode "NONE")
@int[opt] u32BgColor colour of the bars around the picture
@tparam[opt] RECT_S stVideoRect where the picture goes in "MANUAL" mode; a value that is not a
table is ignored
*/

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
