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
TESSEL_DECLARE_ENUM(RGN_TYPE_E)
TESSEL_DECLARE_ENUM(RGN_AREA_TYPE_E)
TESSEL_DECLARE_ENUM(INVERT_COLOR_MODE_E)
TESSEL_DECLARE_ENUM(MOSAIC_BLK_SIZE_E)

namespace Tessel {

constexpr int kRgnMaxRegions = 1024;

// One region by handle. The object whose Create succeeded owns the platform
// region and destroys it when it goes; a GetRegion wrapper never does.
class Region : public RefCountedObjectType<int> {
 public:
  explicit Region(int handle) : m_handle(handle) {}
  ~Region() override { Destroy(); }

  int get_ID() const { return m_handle; }
  int Create(lua_State* L);
  int Destroy();
  int SetAttr(lua_State* L);
  int GetAttr(lua_State* L);
  int AttachToChn(lua_State* L);
  int DetachFromChn(lua_State* L);
  int SetDisplayAttr(lua_State* L);
  int GetDisplayAttr(lua_State* L);
  int SetAttachField(lua_State* L);
  int GetAttachField(lua_State* L);

 private:
  int m_handle;
  int m_created = 0;
};

// Module class: regions by handle.
class RGN {
 public:
  static int get_MaxRegions() { return kRgnMaxRegions; }
  static RefCountedObjectPtr<Region> CreateRegion(int handle, lua_State* L);
  static RefCountedObjectPtr<Region> GetRegion(int handle);
};

}  // namespace Tessel
