// require "tessel.osd": UTF-8 text rendered with FreeType into the bitmaps
// that overlay regions take. A module of its own (tessel/osd.so beside
// tessel.so), built only where FreeType is, so that tessel.so never needs it.
#pragma once

#include <lua.hpp>

/***
Text overlays: `local osd = require "tessel.osd"` renders UTF-8 text with FreeType into the
bitmap tables that `Region:SetBitMap` takes.

The module is built where FreeType is found (Debian: libfreetype-dev); a build without it has
no `tessel.osd`, and requiring it raises "tessel.osd is not available: tessel was built without
FreeType". It needs neither `require "tessel"` nor the platform.

A bitmap is as wide and as high as the text's lines (their advances and ink), with the outline
and the padding on every side, each side rounded up to an even number of pixels (at least 2), as
overlays want. Its pixels are the text over its outline over the background: in `"RGB_1555"` a
pixel is opaque (alpha bit 1) where that reaches half coverage, and otherwise carries the
background's colour with alpha bit 0, which the overlay shows with its channel's `u32BgAlpha`
(0: not at all); in `"RGB_8888"` alpha runs from 0 to 255 and anti-aliased edges keep it.

A clock that renders every second: the first render of a font at a size opens it and each glyph
is rendered once, then kept (a `Font` object does the same for its own font and size).
@module tessel.osd
*/

/***
The options of `osd.render`, `osd.measure` and a `Font`'s methods; every key may be left out.
Colours are `0xRRGGBB` (opaque), or `0xAARRGGBB` with an alpha `AA` from 1 to 255. A value of
the wrong Lua type raises (an integer wanted: a number without an integer value raises too); a
value out of range gives `nil` and a message naming the option ("Invalid size 0", "Invalid
format YUV").
@table OsdOptions
@int[opt=24] size the font's size, pixels per em (1 to 1024); a line of DejaVu Sans is about
1.17 times as high. A `Font` has its own size and reads neither `size` nor `font`
@string[opt] font the path of a TrueType or OpenType font; `osd.defaultFont` by default
@int[opt=0xFFFFFF] color the text's colour
@int[opt] background the background's colour, opaque unless `backgroundAlpha` or its own alpha
says otherwise; without it (and without `backgroundAlpha`) the background is transparent
@int[opt] backgroundAlpha the background's alpha, 0 (transparent) to 255 (opaque); alone, over
black
@int[opt=0] outline the width in pixels (0 to 32) of a border drawn around every glyph
@int[opt=0x000000] outlineColor the outline's colour
@int[opt=0] padding pixels (0 to 256) of background on every side
@string[opt="RGB_1555"] format the pixel format, `"RGB_1555"` (2 bytes, little-endian ARGB1555) or
`"RGB_8888"` (4 bytes: B, G, R, A), any case
*/

/***
A bitmap made by `osd.render`, ready for `Region:SetBitMap` on an overlay of its format at least
as large.
@table OsdBitmap
@string enPixelFormat `"RGB_1555"` or `"RGB_8888"`
@int u32Width the width in pixels, even
@int u32Height the height in pixels, even
@string data the pixels, rows top to bottom, `u32Width * u32Height` of 2 or 4 bytes
*/

namespace TesselOsd {

/***
The module's functions: `local osd = require "tessel.osd"`.
@type osd
*/
class Module {
 public:
  /*** The font used when no `font` option is given: DejaVu Sans
  (`/usr/share/fonts/truetype/dejavu/DejaVuSans.ttf`, Debian: fonts-dejavu-core).
  @tfield string defaultFont
  */
  /*** Renders a text into a bitmap. "\n" starts a new line (lines are left-aligned), a tab is a
  space, other control characters are left out, and bytes that are not UTF-8 show as U+FFFD; a
  character the font lacks shows as its missing-glyph box. The font is opened once per path
  and size and kept (eight at most).
  @function render
  @static
  @string text UTF-8 (a number is turned into its text)
  @tparam[opt] OsdOptions options
  @treturn OsdBitmap the bitmap; or `nil` and a message: an option out of range, "Cannot open
  font PATH: REASON", or "Text of W x H pixels is larger than 8192 x 8192"
  @usage local osd = require "tessel.osd"
  local bitmap = assert(osd.render(os.date("%Y-%m-%d %H:%M:%S"), {size = 32, outline = 2}))
  local region = Tessel.RGN.CreateRegion(0, {type = "OVERLAYEX", attr = {enPixelFmt = "RGB_1555",
    stSize = {u32Width = bitmap.u32Width, u32Height = bitmap.u32Height}}})
  assert(region:SetBitMap(bitmap))
  */
  static int render(lua_State* L);
  /*** The size the bitmap of a text would have, without drawing it.
  @function measure
  @static
  @string text UTF-8
  @tparam[opt] OsdOptions options
  @treturn int the width in pixels, or `nil` and a message as `render` gives
  @treturn int the height in pixels
  @usage local w, h = osd.measure("00:00:00", {size = 32, outline = 2})
  */
  static int measure(lua_State* L);
  /*** Opens a font at one size, with its own cache of rendered glyphs. FreeType's memory is
  freed when Lua collects the object.
  @function font
  @static
  @string[opt] path a TrueType or OpenType font; `osd.defaultFont` when `nil`
  @int[opt=24] size pixels per em, 1 to 1024
  @treturn Font the font; or `nil` and "Cannot open font PATH: REASON", or "Invalid size N"
  @usage local clock = assert(osd.font(nil, 32))
  region:SetBitMap(clock:render(os.date("%H:%M:%S"), {outline = 2}))
  */
  static int font(lua_State* L);
};

/***
A font at one size, from `osd.font`.
@type Font
*/
class FontObject {
 public:
  /*** Renders a text with this font (see `osd.render`); the options' `font` and `size` are not
  read.
  @function render
  @string text UTF-8
  @tparam[opt] OsdOptions options
  @treturn OsdBitmap the bitmap, or `nil` and a message
  */
  static int render(lua_State* L);
  /*** The size of a text's bitmap with this font (see `osd.measure`).
  @function measure
  @string text UTF-8
  @tparam[opt] OsdOptions options
  @treturn int the width, or `nil` and a message
  @treturn int the height
  */
  static int measure(lua_State* L);
};

}  // namespace TesselOsd

extern "C" __attribute__((visibility("default"))) int luaopen_tessel_osd(lua_State* L);
