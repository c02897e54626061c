#include "region/osd/text_render.h"

#include <algorithm>
#include <cmath>
#include <cstring>

namespace TesselOsd {
namespace {

// A font keeps at most this many glyphs; past it the cache starts again
// (a clock uses a dozen, a text in a large script may not).
constexpr std::size_t kMaxCachedGlyphs = 1024;
constexpr std::uint32_t kReplacement = 0xFFFD;
// Pen positions stop this far out (pixels): a text that long is refused by
// its size anyway, and the arithmetic stays within 32 bits.
constexpr int kFar = 1 << 20;

int ceil26(FT_Pos v) { return static_cast<int>((v + 63) >> 6); }

// The next code point of UTF-8 text at `*at`, advancing it; malformed,
// overlong and surrogate sequences give U+FFFD and skip one byte.
std::uint32_t nextCodePoint(const unsigned char* s, std::size_t length, std::size_t* at) {
  const std::size_t i = *at;
  const unsigned c = s[i];
  int extra;
  std::uint32_t cp, least;
  if (c < 0x80) {
    *at = i + 1;
    return c;
  } else if ((c & 0xE0) == 0xC0) {
    extra = 1, cp = c & 0x1F, least = 0x80;
  } else if ((c & 0xF0) == 0xE0) {
    extra = 2, cp = c & 0x0F, least = 0x800;
  } else if ((c & 0xF8) == 0xF0) {
    extra = 3, cp = c & 0x07, least = 0x10000;
  } else {
    *at = i + 1;
    return kReplacement;
  }
  if (length - i <= static_cast<std::size_t>(extra)) {
    *at = i + 1;
    return kReplacement;
  }
  for (int k = 1; k <= extra; ++k) {
    if ((s[i + k] & 0xC0) != 0x80) {
      *at = i + 1;
      return kReplacement;
    }
    cp = cp << 6 | (s[i + k] & 0x3F);
  }
  if (cp < least || cp > 0x10FFFF || (cp >= 0xD800 && cp <= 0xDFFF)) {
    *at = i + 1;
    return kReplacement;
  }
  *at = i + 1 + extra;
  return cp;
}

// Calls place(glyph, x, y) for every glyph of the text with the top left of
// its bitmap relative to the first pen position and baseline, and
// line(end, baseline) at the end of each line with the pen's final x. "\n"
// starts a line, a tab is a space, other control characters are left out.
template <typename Place, typename Line>
void layout(Font& font, const char* text, std::size_t length, Place place, Line line) {
  const auto* s = reinterpret_cast<const unsigned char*>(text);
  FT_Pos pen = 0;
  int baseline = 0;
  FT_UInt previous = 0;
  for (std::size_t at = 0; at < length;) {
    std::uint32_t cp = nextCodePoint(s, length, &at);
    if (cp == '\n') {
      line(ceil26(pen), baseline);
      pen = 0, previous = 0;
      baseline = std::min(baseline + font.lineStep(), kFar);
      continue;
    }
    if (cp == '\t') cp = ' ';
    if (cp < 0x20 || cp == 0x7F) continue;
    const Glyph* g = font.glyph(cp);
    if (!g) continue;
    if (previous && g->index) pen += font.kerning(previous, g->index);
    place(*g, static_cast<int>((pen + 32) >> 6) + g->left, baseline - g->top);
    pen = std::max<FT_Pos>(-(FT_Pos{kFar} << 6), std::min<FT_Pos>(pen + g->advance, FT_Pos{kFar} << 6));
    previous = g->index;
  }
  line(ceil26(pen), baseline);
}

int evenUp(int v) { return std::max(2, v + (v & 1)); }

// Layers are composed premultiplied, in floating point: a faint
// background keeps its colour exactly.
struct Pixel {
  float r, g, b, a;  // premultiplied, colour 0 to 255, alpha 0 to 1
};

void over(Pixel* p, const std::uint8_t* rgb, float alpha) {
  if (alpha <= 0) return;
  const float keep = 1 - alpha;
  p->r = rgb[0] * alpha + p->r * keep;
  p->g = rgb[1] * alpha + p->g * keep;
  p->b = rgb[2] * alpha + p->b * keep;
  p->a = alpha + p->a * keep;
}

std::uint8_t channel(float premultiplied, float a) {
  return static_cast<std::uint8_t>(std::min(255.0f, premultiplied / a + 0.5f));
}

std::uint32_t to5(std::uint8_t c) { return (c * 31u + 127) / 255; }

// Writes one pixel; where nothing is left (alpha 0) it carries the
// background's colour. ARGB1555 keeps only whether the alpha reaches half,
// and the background's colour where it does not.
void store(const Pixel& p, const Style& style, std::uint8_t* out) {
  const auto alpha = static_cast<std::uint8_t>(p.a * 255 + 0.5f);
  std::uint8_t rgb[3] = {style.backRgb[0], style.backRgb[1], style.backRgb[2]};
  if (alpha && (style.argb8888 || alpha >= 128))
    rgb[0] = channel(p.r, p.a), rgb[1] = channel(p.g, p.a), rgb[2] = channel(p.b, p.a);
  if (style.argb8888) {
    out[0] = rgb[2], out[1] = rgb[1], out[2] = rgb[0], out[3] = alpha;
    return;
  }
  const std::uint32_t v = (alpha >= 128 ? 0x8000u : 0u) | to5(rgb[0]) << 10 | to5(rgb[1]) << 5 | to5(rgb[2]);
  out[0] = static_cast<std::uint8_t>(v), out[1] = static_cast<std::uint8_t>(v >> 8);
}

// outline[p] = the largest coverage within `radius` pixels (a disc) of p.
void dilate(const std::uint8_t* in, std::uint8_t* out, int width, int height, int radius) {
  std::memset(out, 0, static_cast<std::size_t>(width) * height);
  const double reach = (radius + 0.5) * (radius + 0.5);
  for (int dy = -radius; dy <= radius; ++dy) {
    const int span = static_cast<int>(std::sqrt(reach - dy * dy));
    for (int y = std::max(0, -dy); y < std::min(height, height - dy); ++y) {
      const std::uint8_t* src = in + static_cast<std::size_t>(y + dy) * width;
      std::uint8_t* dst = out + static_cast<std::size_t>(y) * width;
      for (int x = 0; x < width; ++x) {
        if (!src[x]) continue;
        const int x0 = std::max(0, x - span), x1 = std::min(width - 1, x + span);
        for (int t = x0; t <= x1; ++t) dst[t] = std::max(dst[t], src[x]);
      }
    }
  }
}

}  // namespace

// The table of error texts that FreeType's error header builds on request
// (whether or not the library itself keeps them).
const char* errorText(FT_Error err) {
#undef FTERRORS_H_
#define FT_ERRORDEF(e, v, s) {e, s},
#define FT_ERROR_START_LIST {
#define FT_ERROR_END_LIST {0, nullptr}};
  static const struct {
    int code;
    const char* text;
  } kErrors[] =
#include FT_ERRORS_H
  for (const auto& e : kErrors)
    if (e.text && e.code == err) return e.text;
  return nullptr;
}

FT_Error Font::open(const char* path, int pixels) {
  close();
  FT_Error err = FT_Init_FreeType(&m_library);
  if (err) {
    m_library = nullptr;
    return err;
  }
  err = FT_New_Face(m_library, path, 0, &m_face);
  if (!err) err = FT_Set_Pixel_Sizes(m_face, 0, static_cast<FT_UInt>(pixels));
  if (!err) err = FT_Select_Charmap(m_face, FT_ENCODING_UNICODE);
  if (err) {
    close();
    return err;
  }
  const FT_Size_Metrics& m = m_face->size->metrics;
  m_pixels = pixels;
  m_ascender = ceil26(m.ascender);
  m_descender = ceil26(-m.descender);
  m_lineStep = std::max(ceil26(m.height), m_ascender + m_descender);
  return 0;
}

void Font::close() {
  m_glyphs.clear();
  if (m_face) FT_Done_Face(m_face);
  if (m_library) FT_Done_FreeType(m_library);
  m_face = nullptr;
  m_library = nullptr;
}

const Glyph* Font::glyph(std::uint32_t codePoint) {
  if (!m_face) return nullptr;
  auto it = m_glyphs.find(codePoint);
  if (it != m_glyphs.end()) return &it->second;
  const FT_UInt index = FT_Get_Char_Index(m_face, codePoint);
  if (FT_Load_Glyph(m_face, index, FT_LOAD_DEFAULT | FT_LOAD_RENDER)) return nullptr;
  const FT_GlyphSlot slot = m_face->glyph;
  const FT_Bitmap& bm = slot->bitmap;
  if (bm.pixel_mode != FT_PIXEL_MODE_GRAY && bm.pixel_mode != FT_PIXEL_MODE_MONO) return nullptr;
  if (m_glyphs.size() >= kMaxCachedGlyphs) m_glyphs.clear();
  Glyph& g = m_glyphs[codePoint];
  g.index = index;
  g.left = slot->bitmap_left;
  g.top = slot->bitmap_top;
  g.width = static_cast<int>(bm.width);
  g.rows = static_cast<int>(bm.rows);
  g.advance = slot->advance.x;
  g.coverage.resize(static_cast<std::size_t>(g.width) * g.rows);
  for (int y = 0; y < g.rows; ++y) {
    const unsigned char* row = bm.buffer + static_cast<std::ptrdiff_t>(y) * bm.pitch;
    std::uint8_t* dst = g.coverage.data() + static_cast<std::size_t>(y) * g.width;
    for (int x = 0; x < g.width; ++x)
      dst[x] = bm.pixel_mode == FT_PIXEL_MODE_GRAY ? row[x] : (row[x >> 3] & (0x80 >> (x & 7)) ? 255 : 0);
  }
  return &g;
}

FT_Pos Font::kerning(FT_UInt left, FT_UInt right) const {
  FT_Vector k{0, 0};
  if (!FT_HAS_KERNING(m_face) || FT_Get_Kerning(m_face, left, right, FT_KERNING_DEFAULT, &k)) return 0;
  return k.x;
}

Box measure(Font& font, const char* text, std::size_t length, const Style& style) {
  int minX = 0, maxX = 0, minY = -font.ascender(), maxY = 0;
  layout(
      font, text, length,
      [&](const Glyph& g, int x, int y) {
        if (!g.width || !g.rows) return;
        minX = std::min(minX, x), maxX = std::max(maxX, x + g.width);
        minY = std::min(minY, y), maxY = std::max(maxY, y + g.rows);
      },
      [&](int end, int baseline) {
        maxX = std::max(maxX, end);
        maxY = std::max(maxY, baseline + font.descender());
      });
  const int margin = style.outline + style.padding;
  Box box;
  box.width = evenUp(maxX - minX + 2 * margin);
  box.height = evenUp(maxY - minY + 2 * margin);
  box.originX = margin - minX;
  box.originY = margin - minY;
  return box;
}

void draw(Font& font, const char* text, std::size_t length, const Style& style, const Box& box,
          std::uint8_t* glyphCoverage, std::uint8_t* outlineCoverage, std::uint8_t* out) {
  const int w = box.width, h = box.height;
  const std::size_t count = static_cast<std::size_t>(w) * h;
  std::memset(glyphCoverage, 0, count);
  layout(
      font, text, length,
      [&](const Glyph& g, int x, int y) {
        x += box.originX, y += box.originY;
        for (int row = std::max(0, -y); row < g.rows && y + row < h; ++row) {
          const std::uint8_t* src = g.coverage.data() + static_cast<std::size_t>(row) * g.width;
          std::uint8_t* dst = glyphCoverage + static_cast<std::size_t>(y + row) * w;
          for (int col = std::max(0, -x); col < g.width && x + col < w; ++col)
            dst[x + col] = std::max(dst[x + col], src[col]);
        }
      },
      [](int, int) {});
  const bool outlined = style.outline > 0 && style.outlineAlpha;
  if (outlined) dilate(glyphCoverage, outlineCoverage, w, h, style.outline);

  const std::size_t bpp = style.argb8888 ? 4 : 2;
  Pixel back{0, 0, 0, 0};
  over(&back, style.backRgb, style.backAlpha / 255.0f);
  std::uint8_t backPixel[4];
  store(back, style, backPixel);
  const float outlineAlpha = style.outlineAlpha / (255.0f * 255.0f), textAlpha = style.textAlpha / (255.0f * 255.0f);
  for (std::size_t i = 0; i < count; ++i) {
    const std::uint8_t o = outlined ? outlineCoverage[i] : 0, g = glyphCoverage[i];
    if (!o && !g) {
      std::memcpy(out + i * bpp, backPixel, bpp);
      continue;
    }
    Pixel p = back;
    over(&p, style.outlineRgb, o * outlineAlpha);
    over(&p, style.textRgb, g * textAlpha);
    store(p, style, out + i * bpp);
  }
}

}  // namespace TesselOsd
