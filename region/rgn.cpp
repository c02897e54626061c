// Module class RGN, the Region class and their registration.
#include "region/rgn.h"

#include <cstdint>
#include <cstdio>

#include "frame/channel.h"
#include "frame/mapped_rows.h"
#include "frame/methods.h"
#include "frame/modules.h"

namespace Tessel {
namespace {

// Both factories share one message, under the name GetRegion.
bool validHandle(int handle) {
  if (static_cast<unsigned>(handle) < kRgnMaxRegions) return true;
  TESSEL_DIAG_AS("GetRegion", "Region ID out of range. Valid range is [0," << kRgnMaxRegions << ")");
  return false;
}

// The channel a region method addresses: a channel object at position 2,
// or a module id, device id and channel id at positions 2 to 4. A nil counts
// as a missing argument. Answers the position of the argument after it, or 0
// after pushing nil and the refusal.
int targetArg(lua_State* L, const char* func, int line, MPP_CHN_S* chn) {
  if (lua_isnoneornil(L, 2)) return pushFailure(L, "Invalid arguments", func, line), 0;
  if (lua_type(L, 2) == LUA_TUSERDATA || lua_type(L, 2) == LUA_TLIGHTUSERDATA) {
    if (!isObject(L, 2)) return pushFailure(L, "Invalid channel object", func, line), 0;
    const Channel* c = checkObject<Channel>(L, 2);  // an object of another class is an argument error
    chn->enModId = static_cast<MOD_ID_E>(c->get_MODID());
    chn->s32DevId = c->get_DID();
    chn->s32ChnId = c->get_ID();
    return 3;
  }
  chn->enModId = static_cast<MOD_ID_E>(luaL_checkinteger(L, 2));
  if (lua_isnoneornil(L, 3)) return pushFailure(L, "Invalid device id", func, line), 0;
  chn->s32DevId = static_cast<HI_S32>(luaL_checkinteger(L, 3));
  if (lua_isnoneornil(L, 4)) return pushFailure(L, "Invalid channel id", func, line), 0;
  chn->s32ChnId = static_cast<HI_S32>(luaL_checkinteger(L, 4));
  return 5;
}

// The channel attributes at idx; false after pushing nil and the refusal.
bool chnAttrArg(lua_State* L, int idx, const char* func, int line, RGN_CHN_ATTR_S* attr) {
  if (lua_type(L, idx) != LUA_TTABLE) {
    pushFailure(L, "Invalid region channel attributes", func, line);
    return false;
  }
  return readArg(L, idx, attr, func, line);
}

// Bytes of one pixel of the formats an overlay is drawn in; 0 for others.
unsigned bytesPerPixel(PIXEL_FORMAT_E format) {
  switch (format) {
    case PIXEL_FORMAT_RGB_444:
    case PIXEL_FORMAT_RGB_4444:
    case PIXEL_FORMAT_RGB_555:
    case PIXEL_FORMAT_RGB_565:
    case PIXEL_FORMAT_RGB_1555: return 2;
    case PIXEL_FORMAT_RGB_888: return 3;
    case PIXEL_FORMAT_RGB_8888: return 4;
    default: return 0;
  }
}

const char* formatName(PIXEL_FORMAT_E format) {
  const char* name = enumName(format, kPixelFormats);
  return name ? name : "invalid";
}

// Whether length bytes are the pixels of a picture of the size and format;
// if not, pushes nil and "<what> data is N bytes, W x H FORMAT needs M" (or
// the format's refusal) and answers false.
bool fitsPixels(lua_State* L, const char* what, std::size_t length, HI_U32 width, HI_U32 height,
                PIXEL_FORMAT_E format, const char* func, int line) {
  char text[160];
  const unsigned bpp = bytesPerPixel(format);
  if (!bpp) {
    std::snprintf(text, sizeof text, "Cannot draw pixel format %s", formatName(format));
    pushFailure(L, text, func, line);
    return false;
  }
  if (height && width > UINT64_MAX / bpp / height) {
    std::snprintf(text, sizeof text, "%s of %u x %u %s is too large", what, width, height, formatName(format));
    pushFailure(L, text, func, line);
    return false;
  }
  const std::uint64_t needed = std::uint64_t{width} * height * bpp;
  if (needed == length) return true;
  std::snprintf(text, sizeof text, "%s data is %zu bytes, %u x %u %s needs %llu", what, length, width, height,
                formatName(format), static_cast<unsigned long long>(needed));
  pushFailure(L, text, func, line);
  return false;
}

// The size field key of the bitmap table at idx: absent is 0.
bool bitmapSize(lua_State* L, int idx, const char* key, HI_U32* out) {
  lua_Integer v = 0;
  getInteger(L, idx, key, &v);
  *out = static_cast<HI_U32>(v);
  return v >= 0 && v <= static_cast<lua_Integer>(UINT32_MAX);
}

}  // namespace

// The region is returned whether or not the platform created it.
RefCountedObjectPtr<Region> RGN::CreateRegion(int handle, lua_State* L) {
  if (!validHandle(handle)) return nullptr;
  return createWith(L, new Region(handle));
}

RefCountedObjectPtr<Region> RGN::GetRegion(int handle) {
  if (!validHandle(handle)) return nullptr;
  return new Region(handle);
}

// Create(attrs): attrs is the last value on the stack.
int Region::Create(lua_State* L) {
  RGN_ATTR_S attr;
  if (!readArg(L, lua_gettop(L), &attr, __func__, __LINE__)) return 2;
  HI_S32 rc = HI_MPI_RGN_Create(m_handle, &attr);
  if (rc == HI_SUCCESS) m_created = 1;
  return pushStatus(L, rc, "Fail to create region", __func__, __LINE__);
}

int Region::Destroy() {
  if (!m_created) return 0;
  m_created = 0;
  return HI_MPI_RGN_Destroy(m_handle);
}

int Region::SetAttr(lua_State* L) {
  if (lua_type(L, 2) != LUA_TTABLE) return TESSEL_FAIL(L, "INvalid region attributes");
  return setFromTable<RGN_ATTR_S>(L, __func__, __LINE__, "Fail to set region attributes",
                                  [&](RGN_ATTR_S* p) { return HI_MPI_RGN_SetAttr(m_handle, p); });
}

int Region::GetAttr(lua_State* L) {
  return getAsTable<RGN_ATTR_S>(L, __func__, __LINE__, "Fail to get region attributes",
                                [&](RGN_ATTR_S* p) { return HI_MPI_RGN_GetAttr(m_handle, p); });
}

// AttachToChn(channel, attrs) or AttachToChn(mod, dev, chn, attrs).
int Region::AttachToChn(lua_State* L) {
  MPP_CHN_S chn = {};
  int next = targetArg(L, __func__, __LINE__, &chn);
  if (!next) return 2;
  RGN_CHN_ATTR_S attr;
  if (!chnAttrArg(L, next, __func__, __LINE__, &attr)) return 2;
  return pushStatus(L, HI_MPI_RGN_AttachToChn(m_handle, &chn, &attr), "Fail to attach to channel", __func__,
                    __LINE__);
}

int Region::DetachFromChn(lua_State* L) {
  MPP_CHN_S chn = {};
  if (!targetArg(L, __func__, __LINE__, &chn)) return 2;
  return pushStatus(L, HI_MPI_RGN_DetachFromChn(m_handle, &chn), "Fail to detach from channel", __func__,
                    __LINE__);
}

int Region::SetDisplayAttr(lua_State* L) {
  MPP_CHN_S chn = {};
  int next = targetArg(L, __func__, __LINE__, &chn);
  if (!next) return 2;
  RGN_CHN_ATTR_S attr;
  if (!chnAttrArg(L, next, __func__, __LINE__, &attr)) return 2;
  return pushStatus(L, HI_MPI_RGN_SetDisplayAttr(m_handle, &chn, &attr), "Fail to set channel display attributes",
                    __func__, __LINE__);
}

int Region::GetDisplayAttr(lua_State* L) {
  MPP_CHN_S chn = {};
  if (!targetArg(L, __func__, __LINE__, &chn)) return 2;
  return getAsTable<RGN_CHN_ATTR_S>(L, __func__, __LINE__, "Fail to get channel display attributes",
                                    [&](RGN_CHN_ATTR_S* p) { return HI_MPI_RGN_GetDisplayAttr(m_handle, &chn, p); });
}

int Region::SetAttachField(lua_State* L) {
  VIDEO_FIELD_E field;
  if (!readArg(L, 2, &field, __func__, __LINE__)) return 2;
  return pushStatus(L, HI_MPI_RGN_SetAttachField(m_handle, field), "Fail to set region attach field", __func__,
                    __LINE__);
}

// Its failure is reported in the setter's words.
int Region::GetAttachField(lua_State* L) {
  VIDEO_FIELD_E field = VIDEO_FIELD_FRAME;
  HI_S32 rc = HI_MPI_RGN_GetAttachField(m_handle, &field);
  if (rc != HI_SUCCESS) return TESSEL_FAIL_CODE(L, "Fail to set region attach field", rc);
  return pushResult(L, field, __func__, __LINE__);
}

// SetBitMap{enPixelFormat =, u32Width =, u32Height =, data =}: the platform
// reads the string where Lua keeps it, on the stack for the call.
int Region::SetBitMap(lua_State* L) {
  if (lua_type(L, 2) != LUA_TTABLE) return TESSEL_FAIL(L, "Invalid bitmap");
  BITMAP_S bitmap;
  std::memset(&bitmap, 0, sizeof bitmap);
  lua_getfield(L, 2, "enPixelFormat");
  if (!readArg(L, -1, &bitmap.enPixelFormat, __func__, __LINE__)) return 2;
  if (!bitmapSize(L, 2, "u32Width", &bitmap.u32Width) || !bitmapSize(L, 2, "u32Height", &bitmap.u32Height))
    return TESSEL_FAIL(L, "Invalid bitmap size");
  if (lua_getfield(L, 2, "data") != LUA_TSTRING) return TESSEL_FAIL(L, "Invalid bitmap data");
  std::size_t length = 0;
  bitmap.pData = const_cast<char*>(lua_tolstring(L, -1, &length));
  if (!fitsPixels(L, "Bitmap", length, bitmap.u32Width, bitmap.u32Height, bitmap.enPixelFormat, __func__, __LINE__))
    return 2;
  return pushStatus(L, HI_MPI_RGN_SetBitMap(m_handle, &bitmap), "Fail to set region bitmap", __func__, __LINE__);
}

int Region::GetCanvasInfo(lua_State* L) {
  return getAsTable<RGN_CANVAS_INFO_S>(L, __func__, __LINE__, "Fail to get region canvas",
                                       [&](RGN_CANVAS_INFO_S* p) { return HI_MPI_RGN_GetCanvasInfo(m_handle, p); });
}

// SetCanvas(data): nothing after GetCanvasInfo can raise.
int Region::SetCanvas(lua_State* L) {
  if (lua_type(L, 2) != LUA_TSTRING) return TESSEL_FAIL(L, "Invalid canvas data");
  std::size_t length = 0;
  const char* data = lua_tolstring(L, 2, &length);
  RGN_CANVAS_INFO_S canvas;
  std::memset(&canvas, 0, sizeof canvas);
  HI_S32 rc = HI_MPI_RGN_GetCanvasInfo(m_handle, &canvas);
  if (rc != HI_SUCCESS) return TESSEL_FAIL_CODE(L, "Fail to get region canvas", rc);
  const HI_U32 width = canvas.stSize.u32Width, height = canvas.stSize.u32Height;
  if (!fitsPixels(L, "Canvas", length, width, height, canvas.enPixelFmt, __func__, __LINE__)) return 2;
  const std::uint64_t rowBytes = std::uint64_t{width} * bytesPerPixel(canvas.enPixelFmt);
  if (canvas.u32Stride < rowBytes) {
    char text[96];
    std::snprintf(text, sizeof text, "Canvas stride %u is shorter than a row of %llu bytes", canvas.u32Stride,
                  static_cast<unsigned long long>(rowBytes));
    return TESSEL_FAIL(L, text);
  }
  if (height) {
    MappedRows rows{canvas.u32PhyAddr, canvas.u32Stride, height, static_cast<HI_U32>(rowBytes)};
    bool mapped = true;
    rc = rows.write(data, &mapped);
    if (!mapped) return TESSEL_FAIL(L, "Fail to map region canvas");
    if (rc != HI_SUCCESS) return TESSEL_FAIL_CODE(L, "Fail to unmap region canvas", rc);
  }
  return pushStatus(L, HI_MPI_RGN_UpdateCanvas(m_handle), "Fail to update region canvas", __func__, __LINE__);
}

void RGN_Register(lua_State* L) {
  beginClass<Region>(L, "Region")
      .addProperty<&Region::get_ID>("ID")
      .addCFunction<&Region::Create>("Create")
      .addFunction<&Region::Destroy>("Destroy")
      .addCFunction<&Region::SetAttr>("SetAttr")
      .addCFunction<&Region::GetAttr>("GetAttr")
      .addCFunction<&Region::AttachToChn>("AttachToChn")
      .addCFunction<&Region::DetachFromChn>("DetachFromChn")
      .addCFunction<&Region::SetDisplayAttr>("SetDisplayAttr")
      .addCFunction<&Region::GetDisplayAttr>("GetDisplayAttr")
      .addCFunction<&Region::SetAttachField>("SetAttachField")
      .addCFunction<&Region::GetAttachField>("GetAttachField")
      .addCFunction<&Region::SetBitMap>("SetBitMap")
      .addCFunction<&Region::GetCanvasInfo>("GetCanvasInfo")
      .addFunction<&Region::UpdateCanvas>("UpdateCanvas")
      .addCFunction<&Region::SetCanvas>("SetCanvas");

  beginClass<RGN>(L, "RGN")
      .addStaticProperty<&RGN::get_MaxRegions>("MaxRegions")
      .addStaticFunction<&RGN::CreateRegion>("CreateRegion")
      .addStaticFunction<&RGN::GetRegion>("GetRegion");
}

}  // namespace Tessel
