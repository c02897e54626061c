// Regions: overlays, covers (privacy masks), lines and mosaics the hardware
// draws onto the pictures of a channel, over the HI_MPI_RGN_* calls.
#pragma once

#include <lua.hpp>

#include "platform/mpp.h"

#include "frame/binding.h"
#include "frame/common_types.h"
#include "frame/convert.h"
#include "frame/ref_counted.h"

// Region attributes and the channel attributes of each region type.
TESSEL_DECLARE_STRUCT(RGN_ATTR_S)
TESSEL_DECLARE_STRUCT(OVERLAY_ATTR_S)
TESSEL_DECLARE_STRUCT(OVERLAYEX_ATTR_S)
TESSEL_DECLARE_STRUCT(RGN_CHN_ATTR_S)
TESSEL_DECLARE_STRUCT(OVERLAY_CHN_ATTR_S)
TESSEL_DECLARE_STRUCT(OVERLAYEX_CHN_ATTR_S)
TESSEL_DECLARE_STRUCT(COVER_CHN_ATTR_S)
TESSEL_DECLARE_STRUCT(COVEREX_CHN_ATTR_S)
TESSEL_DECLARE_STRUCT(LINE_CHN_ATTR_S)
TESSEL_DECLARE_STRUCT(MOSAIC_CHN_ATTR_S)
TESSEL_DECLARE_STRUCT(OVERLAY_QP_INFO_S)
TESSEL_DECLARE_STRUCT(OVERLAY_INVERT_COLOR_S)
TESSEL_DECLARE_STRUCT(RGN_QUADRANGLE_S)
TESSEL_DECLARE_STRUCT(RGN_CANVAS_INFO_S)
TESSEL_DECLARE_ENUM(RGN_TYPE_E)
TESSEL_DECLARE_ENUM(RGN_AREA_TYPE_E)
TESSEL_DECLARE_ENUM(INVERT_COLOR_MODE_E)
TESSEL_DECLARE_ENUM(MOSAIC_BLK_SIZE_E)

/***
Regions: `Tessel.RGN` and the overlays, covers, lines and mosaics drawn onto channels.

A region is created once by handle (0 to 1023) with its type and, for overlays, its pixel format
and size, then attached to the channels of other modules (capture, processing, encoding,
display) with display attributes of its own per channel. The region tables select their union
member by type: `{type = "OVERLAY", attr = OVERLAY_ATTR_S}` for the region,
`{bShow = true, enType = "OVERLAY", attr = OVERLAY_CHN_ATTR_S}` per channel (note `type`
against `enType`). Type names are "OVERLAY", "COVER", "COVEREX", "OVERLAYEX", "LINE" and
"MOSAIC", in any case.
@module rgn
*/

/***
The display attributes of a cover (a privacy mask) on one channel: the `attr` of a channel
attribute table whose `enType` is "COVER". The area is a rectangle or a quadrangle by
`enCoverType`, given under `cover`; the cover's coordinates are absolute (the coordinate mode is
not part of the table). Every key may be left out (0: a rectangle cover, nothing read for the
area). A value that is not a table fails with
`"COVER_CHN_ATTR_S must be a table for structure convension"`; a `cover` that does not convert
with "Invalid rect structure" or `"RGN_QUADRANGLE_S must be a table for structure convension"`.
Read back, the type is "RECT" or `"QUAD_RANGLE"` (no type and no `cover` for other values), and
then **a rectangle comes twice**, under `cover` and under `stRect`; only `cover` is read.
@table COVER_CHN_ATTR_S
@tparam[opt] string|int enCoverType "RECT", or "QUAD" or `"QUAD_RANGLE"` (any case), or the
platform's number; a value neither string nor number fails with "Invalid area type", but
__another name is not refused__: it stores 2 and `cover` is not read
@tparam[opt] RECT_S|RGN_QUADRANGLE_S cover the area: a rectangle, or a quadrangle (`bSolid`,
`u32LineWidth`, and 4 points in `stPoint`)
@int[opt] u32Color the cover's colour
@int[opt] u32Layer its layer among the regions of the channel
*/

/***
The display attributes of an extended cover on one channel: the `attr` of a channel attribute
table whose `enType` is "COVEREX". The keys, their rules and what reads back are those of
`COVER_CHN_ATTR_S`; the texts name this structure: a value that is not a table fails with
`"COVEREX_CHN_ATTR_S must be a table for structure convension"`.
@table COVEREX_CHN_ATTR_S
@tparam[opt] string|int enCoverType "RECT", or "QUAD" or `"QUAD_RANGLE"` (any case), or the
platform's number; another name stores 2 and `cover` is not read
@tparam[opt] RECT_S|RGN_QUADRANGLE_S cover the area: a rectangle, or a quadrangle
@int[opt] u32Color the cover's colour
@int[opt] u32Layer its layer among the regions of the channel
*/
namespace Tessel {

constexpr int kRgnMaxRegions = 1024;

/***
One region by handle, from `Tessel.RGN.CreateRegion` or `Tessel.RGN.GetRegion`.

The object whose `Create` succeeded owns the platform region. **When Lua collects that object,
the region is destroyed**: keep it in a variable for as long as the region is wanted. An object
from `GetRegion` never destroys the region.

The methods that take a channel accept it in two forms: a channel object of any module
(`region:AttachToChn(vencChannel, attrs)`), or its module number, device and channel
(`region:AttachToChn(8, 0, 1, attrs)`). A missing (or `nil`) target gives "Invalid arguments", a
missing device "Invalid device id", a missing channel "Invalid channel id", a userdata that is
no object of this module "Invalid channel object"; **an object of this module that is no channel
raises** "MPPChannel expected, got ..." as a Lua error.
@type Region
*/
class Region : public RefCountedObjectType<int> {
 public:
  explicit Region(int handle) : m_handle(handle) {}
  ~Region() override { Destroy(); }

  /*** The region's handle.
  @tfield int ID
  */
  int get_ID() const { return m_handle; }
  /*** Creates the platform region (`HI_MPI_RGN_Create`). On success this object owns it.
  @function Create
  @tparam RGN_ATTR_S attrs `type` and, for "OVERLAY" and "OVERLAYEX", `attr` with `enPixelFmt`,
  `u32BgColor` and `stSize`; read from the last argument
  @return `true`, or `nil` and a conversion message
  (`"RGN_ATTR_S must be a table for structure convension"`, "Invalid region type", ...), or
  "Fail to create region" with the code
  @usage assert(Tessel.RGN.GetRegion(0):Create{type = "OVERLAY",
  attr = {enPixelFmt = "RGB_1555", stSize = {u32Width = 320, u32Height = 32}}})
  */
  int Create(lua_State* L);
  /*** Destroys the platform region (`HI_MPI_RGN_Destroy`) when this object created it; only
  the first call after a successful `Create` reaches the platform.
  @function Destroy
  @treturn int 0, or the platform's error code (negative); 0 without a call when this object did
  not create the region
  */
  int Destroy();
  /*** Changes the region attributes (`HI_MPI_RGN_SetAttr`); keys as for `Create`, absent keys
  are zero.
  @function SetAttr
  @tparam RGN_ATTR_S attrs
  @return `true`, or `nil` and "INvalid region attributes" (not a table), a conversion message,
  or "Fail to set region attributes" with the code
  */
  int SetAttr(lua_State* L);
  /*** Reads the region attributes (`HI_MPI_RGN_GetAttr`): `type`, and `attr` for overlays.
  @function GetAttr
  @treturn RGN_ATTR_S the attributes, or `nil` and "Fail to get region attributes" with the code
  */
  int GetAttr(lua_State* L);
  /*** Draws the region onto a channel (`HI_MPI_RGN_AttachToChn`) with the display attributes
  of that channel.

  `attr` follows `enType`: "OVERLAY" `OVERLAY_CHN_ATTR_S` (`stPoint`, `u32FgAlpha`, `u32BgAlpha`,
  `u32Layer`, `stQpInfo`, `stInvertColor` whose `enChgMod` is "<LUM" or ">LUM"); "OVERLAYEX" the
  first four of these; "COVER" and "COVEREX" `enCoverType` ("RECT", or "QUAD" / `"QUAD_RANGLE"`),
  `cover` (a `RECT_S`, or `RGN_QUADRANGLE_S` with `bSolid`, `u32LineWidth` and 4 points in
  `stPoint`), `u32Color`, `u32Layer`; "LINE" `u32LineWidth`, `u32LineColor`, 2 points in
  `stLinePoints`; "MOSAIC" `stRect`, `enBlkSize` (the platform's number), `u32Layer`.
  __Unknown area or colour-change names are not refused__: they store 2, which the platform
  refuses or misreads.
  @function AttachToChn
  @tparam MPPChannel|int target a channel object, or module number followed by device and channel
  @tparam RGN_CHN_ATTR_S attrs after the target
  @return `true`, or `nil` and a target message (see `Region`), "Invalid region channel
  attributes" (not a table), a conversion message, or "Fail to attach to channel" with the code
  @usage region:AttachToChn(venc, {bShow = true, enType = "OVERLAY",
  attr = {stPoint = {16, 16}, u32FgAlpha = 128, u32Layer = 0}})
  */
  int AttachToChn(lua_State* L);
  /*** Takes the region off a channel (`HI_MPI_RGN_DetachFromChn`).
  @function DetachFromChn
  @tparam MPPChannel|int target a channel object, or module number followed by device and channel
  @return `true`, or `nil` and a target message, or "Fail to detach from channel" with the code
  */
  int DetachFromChn(lua_State* L);
  /*** Changes the display attributes on a channel the region is attached to
  (`HI_MPI_RGN_SetDisplayAttr`); table as for `AttachToChn`.
  @function SetDisplayAttr
  @tparam MPPChannel|int target a channel object, or module number followed by device and channel
  @tparam RGN_CHN_ATTR_S attrs after the target
  @return `true`, or `nil` and a target message, "Invalid region channel attributes", a
  conversion message, or "Fail to set channel display attributes" with the code
  */
  int SetDisplayAttr(lua_State* L);
  /*** Reads the display attributes on a channel (`HI_MPI_RGN_GetDisplayAttr`). A rectangular
  cover comes back under both `cover` and `stRect`; the table can be handed in again.
  @function GetDisplayAttr
  @tparam MPPChannel|int target a channel object, or module number followed by device and channel
  @treturn RGN_CHN_ATTR_S the attributes, or `nil` and a target message, or
  "Fail to get channel display attributes" with the code
  */
  int GetDisplayAttr(lua_State* L);
  /*** Chooses the fields the region is drawn on (`HI_MPI_RGN_SetAttachField`).
  @function SetAttachField
  @tparam string|int field "TOP", "BOTTOM", "INTERLACED", "FRAME" or "BOTH" (= "FRAME"), any case,
  or the platform's number; other strings give 5, which the platform refuses
  @return `true`, or `nil` and "Invalid video field type" (neither string nor number), or
  "Fail to set region attach field" with the code
  */
  int SetAttachField(lua_State* L);
  /*** Reads the fields the region is drawn on (`HI_MPI_RGN_GetAttachField`).
  __Its failure is reported in the setter's words.__
  @function GetAttachField
  @treturn string "TOP", "BOTTOM", "INTERLACED" or "FRAME"; a single `nil` for a value without a
  name; or `nil` and "Fail to set region attach field" with the code
  */
  int GetAttachField(lua_State* L);
  /*** Fills an overlay with a picture (`HI_MPI_RGN_SetBitMap`); the platform reads the bytes of
  the string, which must hold exactly `u32Width * u32Height` pixels, rows back to back (2 bytes a
  pixel for "RGB_1555", "RGB_4444" and the other 16-bit formats, 3 for "RGB_888", 4 for
  "RGB_8888"). A table that does not fit reaches no platform call.
  @function SetBitMap
  @tparam table bitmap `enPixelFormat` (a pixel format name, any case, or the platform's number),
  `u32Width`, `u32Height` and `data`, a string of the pixels
  @return `true`, or `nil` and "Invalid bitmap" (not a table), "Invalid bitmap data" (`data` no
  string), "Invalid bitmap size" (a size outside 32 bits), "Cannot draw pixel format NAME" (a
  format without a pixel size here, an unknown name too), "Bitmap data is N bytes, W x H FORMAT
  needs M", or "Fail to set region bitmap" with the code
  @usage osd:SetBitMap{enPixelFormat = "RGB_1555", u32Width = 2, u32Height = 1,
  data = string.pack("<I2I2", 0xFC00, 0x83E0)}
  */
  int SetBitMap(lua_State* L);
  /*** Reads where the overlay's canvas is (`HI_MPI_RGN_GetCanvasInfo`), to draw into it directly;
  show what was drawn with `UpdateCanvas`. `SetCanvas` does both with a string.
  @function GetCanvasInfo
  @treturn RGN_CANVAS_INFO_S `u32PhyAddr`, `u32VirtAddr` (as a number), `stSize`, `u32Stride`
  and `enPixelFmt` (a name); or `nil` and "Fail to get region canvas" with the code
  */
  int GetCanvasInfo(lua_State* L);
  /*** Shows the canvas drawn since `GetCanvasInfo` (`HI_MPI_RGN_UpdateCanvas`).
  @function UpdateCanvas
  @treturn int 0 or the platform's error code
  */
  int UpdateCanvas() { return HI_MPI_RGN_UpdateCanvas(m_handle); }
  /*** Draws a picture onto the overlay's canvas and shows it: `HI_MPI_RGN_GetCanvasInfo`, then
  the canvas is mapped (`HI_MPI_SYS_Mmap` of `u32Stride * height` bytes), the rows copied at the
  canvas's stride and the mapping dropped (`HI_MPI_SYS_Munmap`), then
  `HI_MPI_RGN_UpdateCanvas`. The string holds the canvas's pixels in its own format and size,
  rows back to back (see `SetBitMap` for pixel sizes). When anything fails after the canvas was
  got, it is not shown.
  @function SetCanvas
  @string data the pixels
  @return `true`, or `nil` and "Invalid canvas data" (no string), "Fail to get region canvas" with
  the code, "Cannot draw pixel format NAME", "Canvas data is N bytes, W x H FORMAT needs M",
  "Canvas stride N is shorter than a row of M bytes", "Fail to map region canvas" (no code),
  "Fail to unmap region canvas" or "Fail to update region canvas" with the code
  */
  int SetCanvas(lua_State* L);

 private:
  int m_handle;
  int m_created = 0;
};

/***
The module class `Tessel.RGN`: regions by handle.
@type RGN
*/
class RGN {
 public:
  /*** The number of region handles: 1024.
  @tfield int MaxRegions
  */
  static int get_MaxRegions() { return kRgnMaxRegions; }
  /*** Creates region `handle` (see `Region:Create`).
  __The region object is returned even when creation failed__: check with `GetAttr`, or call
  `Tessel.RGN.GetRegion(handle):Create(attrs)` to receive the reason.
  @function CreateRegion
  @static
  @int handle 0 to 1023
  @tparam RGN_ATTR_S attrs
  @treturn Region the region; `nil` out of range, with
  "Region ID out of range. Valid range is [0,1024)" on standard error, __reported under the name__
  `GetRegion`
  @usage local osd = Tessel.RGN.CreateRegion(0, {type = "OVERLAY",
  attr = {enPixelFmt = "RGB_1555", stSize = {320, 32}}})
  */
  static RefCountedObjectPtr<Region> CreateRegion(int handle, lua_State* L);
  /*** An object for region `handle`, made elsewhere: it neither creates nor destroys it.
  @function GetRegion
  @static
  @int handle 0 to 1023
  @treturn Region the region; `nil` out of range, with
  "Region ID out of range. Valid range is [0,1024)" on standard error
  */
  static RefCountedObjectPtr<Region> GetRegion(int handle);
};

}  // namespace Tessel
