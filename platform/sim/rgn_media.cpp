// What regions draw: the overlay's bitmap (set whole with SetBitMap, or
// drawn in place on a canvas lent by GetCanvasInfo and shown by
// UpdateCanvas) blended with its alphas at its point, covers filled with
// their colour, mosaics coarsened into blocks, on every picture of the
// channels a region is attached to and shown on, lowest layer first.
#include <algorithm>
#include <cstring>
#include <map>
#include <vector>

#include "media/media.h"
#include "stored.h"

namespace sim {
namespace {

constexpr int kMod = HI_ID_RGN;

struct Canvas {
  std::vector<std::uint8_t> shown;   // what pictures show
  std::vector<std::uint8_t> drawing; // the canvas lent out
  std::uint32_t phys = 0;
};

std::map<RGN_HANDLE, Canvas> g_canvases;
const bool g_reset = (on_reset([] { g_canvases.clear(); }), true);

bool overlay(RGN_TYPE_E t) { return t == OVERLAY_RGN || t == OVERLAYEX_RGN; }

RGN_ATTR_S attrOf(const Object& r) {
  RGN_ATTR_S a{};
  r.get("Attr", &a);
  return a;
}

// The overlay's format and size (both overlay kinds share the fields).
void overlayOf(const RGN_ATTR_S& a, PIXEL_FORMAT_E* f, SIZE_S* size) {
  *f = a.enType == OVERLAYEX_RGN ? a.unAttr.stOverlayEx.enPixelFmt : a.unAttr.stOverlay.enPixelFmt;
  *size = a.enType == OVERLAYEX_RGN ? a.unAttr.stOverlayEx.stSize : a.unAttr.stOverlay.stSize;
}

std::uint32_t bytesPerPixel(PIXEL_FORMAT_E f) { return f == PIXEL_FORMAT_RGB_8888 ? 4 : 2; }

struct Yuv {
  std::uint8_t y, u, v;
};

Yuv yuvOf(std::uint32_t r, std::uint32_t g, std::uint32_t b) {
  const int y = 16 + ((66 * r + 129 * g + 25 * b + 128) >> 8);
  const int u = 128 + ((-38 * static_cast<int>(r) - 74 * static_cast<int>(g) + 112 * static_cast<int>(b) + 128) >> 8);
  const int v = 128 + ((112 * static_cast<int>(r) - 94 * static_cast<int>(g) - 18 * static_cast<int>(b) + 128) >> 8);
  return {static_cast<std::uint8_t>(y), static_cast<std::uint8_t>(u), static_cast<std::uint8_t>(v)};
}

// Blends one pixel (alpha 0 to 255) into the picture.
void blend(media::Picture& pic, std::uint32_t x, std::uint32_t y, Yuv c, std::uint32_t alpha) {
  if (alpha == 0) return;
  std::uint8_t& l = pic.plane(0)[y * pic.stride[0] + x];
  l = static_cast<std::uint8_t>((l * (255 - alpha) + c.y * alpha) / 255);
  if ((x & 1) || (pic.rows[1] != pic.rows[0] && (y & 1))) return;
  std::uint8_t* vu = pic.plane(1) + (pic.rows[1] == pic.rows[0] ? y : y / 2) * pic.stride[1] + (x & ~1u);
  vu[0] = static_cast<std::uint8_t>((vu[0] * (255 - alpha) + c.v * alpha) / 255);
  vu[1] = static_cast<std::uint8_t>((vu[1] * (255 - alpha) + c.u * alpha) / 255);
}

void fillRect(media::Picture& pic, const RECT_S& r, std::uint32_t rgb) {
  const Yuv c = yuvOf(rgb >> 16 & 0xFF, rgb >> 8 & 0xFF, rgb & 0xFF);
  const std::uint32_t x0 = static_cast<std::uint32_t>(std::max(0, r.s32X)), y0 = static_cast<std::uint32_t>(std::max(0, r.s32Y));
  const std::uint32_t x1 = std::min<std::uint32_t>(pic.width, x0 + r.u32Width), y1 = std::min<std::uint32_t>(pic.height, y0 + r.u32Height);
  for (std::uint32_t y = y0; y < y1; ++y)
    for (std::uint32_t x = x0; x < x1; ++x) blend(pic, x, y, c, 255);
}

void mosaic(media::Picture& pic, const MOSAIC_CHN_ATTR_S& m) {
  const std::uint32_t block = 8u << std::min<std::uint32_t>(m.enBlkSize, 3);
  const RECT_S& r = m.stRect;
  const std::uint32_t x0 = static_cast<std::uint32_t>(std::max(0, r.s32X)), y0 = static_cast<std::uint32_t>(std::max(0, r.s32Y));
  const std::uint32_t x1 = std::min<std::uint32_t>(pic.width, x0 + r.u32Width), y1 = std::min<std::uint32_t>(pic.height, y0 + r.u32Height);
  for (std::uint32_t by = y0; by < y1; by += block)
    for (std::uint32_t bx = x0; bx < x1; bx += block) {
      const std::uint8_t l = pic.plane(0)[by * pic.stride[0] + bx];
      for (std::uint32_t y = by; y < std::min(y1, by + block); ++y)
        std::memset(pic.plane(0) + y * pic.stride[0] + bx, l, std::min(x1, bx + block) - bx);
    }
}

void drawBitmap(media::Picture& pic, const RGN_ATTR_S& a, const std::vector<std::uint8_t>& bits, POINT_S at,
                std::uint32_t fgAlpha, std::uint32_t bgAlpha) {
  PIXEL_FORMAT_E f;
  SIZE_S size;
  overlayOf(a, &f, &size);
  const std::uint32_t bpp = bytesPerPixel(f);
  if (bits.size() < static_cast<std::size_t>(size.u32Width) * size.u32Height * bpp) return;
  // Overlay alphas run from 0 (transparent) to 128 (opaque).
  const std::uint32_t fg = std::min<std::uint32_t>(fgAlpha, 128) * 255 / 128, bg = std::min<std::uint32_t>(bgAlpha, 128) * 255 / 128;
  for (std::uint32_t y = 0; y < size.u32Height; ++y) {
    const std::int64_t py = at.s32Y + static_cast<std::int64_t>(y);
    if (py < 0 || py >= pic.height) continue;
    for (std::uint32_t x = 0; x < size.u32Width; ++x) {
      const std::int64_t px = at.s32X + static_cast<std::int64_t>(x);
      if (px < 0 || px >= pic.width) continue;
      const std::uint8_t* p = bits.data() + (static_cast<std::size_t>(y) * size.u32Width + x) * bpp;
      std::uint32_t r, g, b, alpha;
      if (bpp == 4) {  // B, G, R, A in memory
        b = p[0], g = p[1], r = p[2];
        alpha = p[3] * fg / 255;
      } else if (f == PIXEL_FORMAT_RGB_4444) {
        const std::uint32_t v = p[0] | p[1] << 8;
        r = (v >> 8 & 0xF) * 17, g = (v >> 4 & 0xF) * 17, b = (v & 0xF) * 17;
        alpha = (v >> 12) * 17 * fg / 255;
      } else {  // ARGB 1555
        const std::uint32_t v = p[0] | p[1] << 8;
        r = (v >> 10 & 0x1F) * 255 / 31, g = (v >> 5 & 0x1F) * 255 / 31, b = (v & 0x1F) * 255 / 31;
        alpha = v & 0x8000 ? fg : bg;
      }
      blend(pic, static_cast<std::uint32_t>(px), static_cast<std::uint32_t>(py), yuvOf(r, g, b), alpha);
    }
  }
}

struct Drawn {
  std::uint32_t layer;
  RGN_HANDLE handle;
  RGN_CHN_ATTR_S attr;
};

std::vector<Drawn> drawnAt(Key at) {
  std::vector<Drawn> out;
  const std::string name = "on " + std::to_string(at.mod) + "/" + std::to_string(at.dev) + "/" + std::to_string(at.chn);
  for (const Key& k : objects(kMod)) {
    const Object* r = find(k);
    RGN_CHN_ATTR_S c{};
    if (!r || !r->attached.count(at) || !r->get(name, &c) || c.bShow != HI_TRUE) continue;
    std::uint32_t layer = 0;
    switch (c.enType) {
      case OVERLAY_RGN: layer = c.unChnAttr.stOverlayChn.u32Layer; break;
      case OVERLAYEX_RGN: layer = c.unChnAttr.stOverlayExChn.u32Layer; break;
      case COVER_RGN: layer = c.unChnAttr.stCoverChn.u32Layer; break;
      case COVEREX_RGN: layer = c.unChnAttr.stCoverExChn.u32Layer; break;
      case MOSAIC_RGN: layer = c.unChnAttr.stMosaicChn.u32Layer; break;
      default: break;
    }
    out.push_back({layer, static_cast<RGN_HANDLE>(k.dev), c});
  }
  std::stable_sort(out.begin(), out.end(), [](const Drawn& a, const Drawn& b) { return a.layer < b.layer; });
  return out;
}

void draw(Key at, media::Picture& pic) {
  for (const Drawn& d : drawnAt(at)) {
    const RGN_CHN_ATTR_S& c = d.attr;
    switch (c.enType) {
      case COVER_RGN:
        if (c.unChnAttr.stCoverChn.enCoverType == AREA_RECT) fillRect(pic, c.unChnAttr.stCoverChn.stRect, c.unChnAttr.stCoverChn.u32Color);
        break;
      case COVEREX_RGN:
        if (c.unChnAttr.stCoverExChn.enCoverType == AREA_RECT)
          fillRect(pic, c.unChnAttr.stCoverExChn.stRect, c.unChnAttr.stCoverExChn.u32Color);
        break;
      case MOSAIC_RGN: mosaic(pic, c.unChnAttr.stMosaicChn); break;
      case OVERLAY_RGN:
      case OVERLAYEX_RGN: {
        auto it = g_canvases.find(d.handle);
        const Object* r = find(Key{kMod, static_cast<int>(d.handle), -1});
        if (it == g_canvases.end() || !r) break;
        const bool ex = c.enType == OVERLAYEX_RGN;
        drawBitmap(pic, attrOf(*r), it->second.shown,
                   ex ? c.unChnAttr.stOverlayExChn.stPoint : c.unChnAttr.stOverlayChn.stPoint,
                   ex ? c.unChnAttr.stOverlayExChn.u32FgAlpha : c.unChnAttr.stOverlayChn.u32FgAlpha,
                   ex ? c.unChnAttr.stOverlayExChn.u32BgAlpha : c.unChnAttr.stOverlayChn.u32BgAlpha);
        break;
      }
      default: break;
    }
  }
}

bool any(Key at) { return !drawnAt(at).empty(); }

const bool g_drawer = (media::on_draw(&draw, &any), true);

// An overlay region that exists, with its format and size.
HI_S32 overlayRegion(RGN_HANDLE h, RGN_ATTR_S* a) {
  if (h >= RGN_HANDLE_MAX) return refuse(err(kMod, INVALID_DEVID), "region handle %u outside [0, %d)", h, RGN_HANDLE_MAX);
  const Object* r = find(Key{kMod, static_cast<int>(h), -1});
  if (!r) return refuse(err(kMod, UNEXIST), "region %u does not exist", h);
  *a = attrOf(*r);
  if (!overlay(a->enType)) return refuse(err(kMod, NOT_SUPPORT), "region %u is no overlay: it has no bitmap", h);
  return HI_SUCCESS;
}

}  // namespace

namespace h {

// A bitmap of the overlay's format, no larger than the overlay, placed at
// its top left; the rest of the overlay is cleared.
HI_S32 HI_MPI_RGN_SetBitMap(RGN_HANDLE h, const BITMAP_S* bitmap) {
  RGN_ATTR_S a{};
  if (HI_S32 rc = overlayRegion(h, &a)) return rc;
  if (!bitmap || !bitmap->pData) return refuse(err(kMod, NULL_PTR), "no bitmap or bitmap data given (null pointer)");
  PIXEL_FORMAT_E f;
  SIZE_S size;
  overlayOf(a, &f, &size);
  if (bitmap->enPixelFormat != f)
    return refuse(err(kMod, ILLEGAL_PARAM), "bitmap pixel format %d differs from the overlay's %d", bitmap->enPixelFormat, f);
  if (bitmap->u32Width > size.u32Width || bitmap->u32Height > size.u32Height)
    return refuse(err(kMod, ILLEGAL_PARAM), "bitmap %ux%u is larger than overlay %u (%ux%u)", bitmap->u32Width,
                  bitmap->u32Height, h, size.u32Width, size.u32Height);
  const std::uint32_t bpp = bytesPerPixel(f);
  Canvas& c = g_canvases[h];
  c.shown.assign(static_cast<std::size_t>(size.u32Width) * size.u32Height * bpp, 0);
  const auto* src = static_cast<const std::uint8_t*>(bitmap->pData);
  for (std::uint32_t y = 0; y < bitmap->u32Height; ++y)
    std::memcpy(c.shown.data() + static_cast<std::size_t>(y) * size.u32Width * bpp,
                src + static_cast<std::size_t>(y) * bitmap->u32Width * bpp, bitmap->u32Width * bpp);
  return HI_SUCCESS;
}

HI_S32 HI_MPI_RGN_GetCanvasInfo(RGN_HANDLE h, RGN_CANVAS_INFO_S* info) {
  RGN_ATTR_S a{};
  if (HI_S32 rc = overlayRegion(h, &a)) return rc;
  if (!info) return refuse(err(kMod, NULL_PTR), "nowhere to write the canvas (null pointer)");
  PIXEL_FORMAT_E f;
  SIZE_S size;
  overlayOf(a, &f, &size);
  Canvas& c = g_canvases[h];
  const std::size_t bytes = static_cast<std::size_t>(size.u32Width) * size.u32Height * bytesPerPixel(f);
  if (c.drawing.size() != bytes) {
    if (c.phys) media::unmap_memory(c.phys);
    c.drawing = c.shown.size() == bytes ? c.shown : std::vector<std::uint8_t>(bytes, 0);
    c.phys = media::map_memory(c.drawing.data(), c.drawing.size());
  }
  info->u32PhyAddr = c.phys;
  info->u32VirtAddr = static_cast<HI_U32>(reinterpret_cast<std::uintptr_t>(c.drawing.data()));
  info->stSize = size;
  info->u32Stride = size.u32Width * bytesPerPixel(f);
  info->enPixelFmt = f;
  return HI_SUCCESS;
}

HI_S32 HI_MPI_RGN_UpdateCanvas(RGN_HANDLE h) {
  RGN_ATTR_S a{};
  if (HI_S32 rc = overlayRegion(h, &a)) return rc;
  auto it = g_canvases.find(h);
  if (it == g_canvases.end() || it->second.drawing.empty())
    return refuse(err(kMod, NOT_PERM), "region %u lent no canvas: GetCanvasInfo first", h);
  it->second.shown = it->second.drawing;
  return HI_SUCCESS;
}

}  // namespace h
}  // namespace sim
