// VideoFrame: the lent picture, its description and its bytes.
#include "frame/video_frame.h"

#include <cstdint>
#include <cstdio>
#include <cstring>

#include "frame/common_types.h"
#include "frame/convert.h"
#include "frame/mapped_rows.h"

namespace Tessel {
namespace {

struct PlaneShape {
  HI_U32 rows;
  HI_U32 rowBytes;
};

// The planes of a picture of the frame's format, luma first: answers their
// number, 0 for formats whose layout is not known here.
int planeShapes(const VIDEO_FRAME_S& f, PlaneShape out[3]) {
  const HI_U32 w = f.u32Width, h = f.u32Height;
  auto set = [&](int n, PlaneShape a, PlaneShape b = {}, PlaneShape c = {}) {
    out[0] = a;
    out[1] = b;
    out[2] = c;
    return n;
  };
  switch (f.enPixelFormat) {
    case PIXEL_FORMAT_YUV_400: return set(1, {h, w});
    case PIXEL_FORMAT_YUV_SEMIPLANAR_420: return set(2, {h, w}, {h / 2, w});
    case PIXEL_FORMAT_YUV_SEMIPLANAR_422: return set(2, {h, w}, {h, w});
    case PIXEL_FORMAT_YUV_SEMIPLANAR_444: return set(2, {h, w}, {h, 2 * w});
    case PIXEL_FORMAT_YUV_PLANAR_420: return set(3, {h, w}, {h / 2, w / 2}, {h / 2, w / 2});
    case PIXEL_FORMAT_YUV_PLANAR_422: return set(3, {h, w}, {h, w / 2}, {h, w / 2});
    case PIXEL_FORMAT_YUV_PLANAR_444:
    case PIXEL_FORMAT_RGB_PLANAR_888: return set(3, {h, w}, {h, w}, {h, w});
    case PIXEL_FORMAT_UYVY_PACKAGE_422:
    case PIXEL_FORMAT_YUYV_PACKAGE_422:
    case PIXEL_FORMAT_VYUY_PACKAGE_422:
    case PIXEL_FORMAT_RGB_444:
    case PIXEL_FORMAT_RGB_4444:
    case PIXEL_FORMAT_RGB_555:
    case PIXEL_FORMAT_RGB_565:
    case PIXEL_FORMAT_RGB_1555: return set(1, {h, 2 * w});
    case PIXEL_FORMAT_RGB_888: return set(1, {h, 3 * w});
    case PIXEL_FORMAT_RGB_8888: return set(1, {h, 4 * w});
    default: return 0;
  }
}

const char* pixelFormatName(PIXEL_FORMAT_E format) {
  const char* name = enumName(format, kPixelFormats);
  return name ? name : "invalid";
}

}  // namespace

VideoFrame* VideoFrame::pushEmpty(lua_State* L) {
  VideoFrame* frame = new VideoFrame;
  push(L, frame);
  return frame;
}

const char* VideoFrame::get_PixelFormat() const { return pixelFormatName(m_info.stVFrame.enPixelFormat); }

int VideoFrame::get_Stride(lua_State* L) const {
  lua_createtable(L, 3, 0);
  for (int i = 0; i < 3; ++i) {
    lua_pushinteger(L, m_info.stVFrame.u32Stride[i]);
    lua_rawseti(L, -2, i + 1);
  }
  return 1;
}

// The flag drops before the call, so that a refused release is not retried
// (the platform holds the picture or has forgotten it: either way it is not
// ours to give back twice).
int VideoFrame::Release() {
  if (!m_held) return 0;
  m_held = false;
  return m_lender.release(m_lender.dev, m_lender.chn, &m_info);
}

// The destination is allocated before anything is mapped, and the string
// made after everything is unmapped: a Lua error can only come while
// nothing is mapped.
int VideoFrame::GetData(lua_State* L) {
  if (!m_held) return TESSEL_FAIL(L, "Frame already released");
  const VIDEO_FRAME_S& f = m_info.stVFrame;
  if (f.enCompressMode != COMPRESS_MODE_NONE) return TESSEL_FAIL(L, "Cannot read a compressed frame");
  PlaneShape planes[3];
  int count = planeShapes(f, planes);
  char text[128];
  if (count == 0) {
    std::snprintf(text, sizeof text, "Cannot read pixel format %s", pixelFormatName(f.enPixelFormat));
    return TESSEL_FAIL(L, text);
  }
  std::uint64_t total = 0;
  for (int i = 0; i < count; ++i) {
    if (planes[i].rows && f.u32Stride[i] < planes[i].rowBytes) {
      std::snprintf(text, sizeof text, "Frame stride %u of plane %d is shorter than a row of %u bytes",
                    f.u32Stride[i], i, planes[i].rowBytes);
      return TESSEL_FAIL(L, text);
    }
    total += std::uint64_t{planes[i].rows} * planes[i].rowBytes;
  }
  if (total > SIZE_MAX / 2) return TESSEL_FAIL(L, "Frame too large to read");
  char* out = total ? static_cast<char*>(lua_newuserdata(L, total)) : nullptr;
  char* at = out;
  for (int i = 0; i < count; ++i) {
    if (!planes[i].rows || !planes[i].rowBytes) continue;
    MappedRows plane{f.u32PhyAddr[i], f.u32Stride[i], planes[i].rows, planes[i].rowBytes};
    bool mapped = true;
    HI_S32 rc = plane.read(at, &mapped);
    if (!mapped) return TESSEL_FAIL(L, "Fail to map frame memory");
    if (rc != HI_SUCCESS) return TESSEL_FAIL_CODE(L, "Fail to unmap frame memory", rc);
    at += std::uint64_t{planes[i].rows} * planes[i].rowBytes;
  }
  lua_pushlstring(L, out, total);
  return 1;
}

VIDEO_FRAME_INFO_S* frameArg(lua_State* L, int idx) { return checkObject<VideoFrame>(L, idx)->lent(); }

void registerVideoFrame(lua_State* L) {
  beginClass<VideoFrame>(L, "VideoFrame")
      .addProperty<&VideoFrame::get_Width>("Width")
      .addProperty<&VideoFrame::get_Height>("Height")
      .addProperty<&VideoFrame::get_PixelFormat>("PixelFormat")
      .addProperty<&VideoFrame::get_Pts>("Pts")
      .addCProperty<&VideoFrame::get_Stride>("Stride")
      .addFunction<&VideoFrame::Release>("Release")
      .addCFunction<&VideoFrame::GetData>("GetData");
}

}  // namespace Tessel
