// Text into overlay pixels with FreeType, free of Lua: a font at one pixel
// size with its rendered glyphs cached, the box a text needs, and the
// drawing of that text (glyph coverage, a dilated outline, then the pixels
// of an overlay format). tessel.osd (osd.cpp) keeps Font objects in Lua
// userdata and hands every buffer in, so nothing here owns memory that a
// Lua error could strand.
#pragma once

#include <cstddef>
#include <cstdint>
#include <unordered_map>
#include <vector>

#include <ft2build.h>
#include FT_FREETYPE_H

namespace TesselOsd {

struct Glyph {
  FT_UInt index = 0;
  int left = 0, top = 0;      // bitmap origin: right of and above the pen
  int width = 0, rows = 0;
  FT_Pos advance = 0;         // 26.6
  std::vector<std::uint8_t> coverage;  // rows * width, 0 to 255
};

class Font {
 public:
  Font() = default;
  Font(const Font&) = delete;
  Font& operator=(const Font&) = delete;
  ~Font() { close(); }

  // Opens the face at `path` scaled to `pixels` per em; 0 or FreeType's
  // error (the font stays closed).
  FT_Error open(const char* path, int pixels);
  // Frees the face and the library; again, or unopened, does nothing.
  void close();
  bool isOpen() const { return m_face != nullptr; }
  int pixels() const { return m_pixels; }

  // The glyph of a code point (the font's missing-glyph box when it has
  // none), rendered once and kept; nullptr when FreeType cannot render it.
  const Glyph* glyph(std::uint32_t codePoint);
  // Horizontal kerning between two glyphs, 26.6.
  FT_Pos kerning(FT_UInt left, FT_UInt right) const;

  int ascender() const { return m_ascender; }    // pixels above the baseline
  int descender() const { return m_descender; }  // pixels below it (positive)
  int lineStep() const { return m_lineStep; }    // baseline to baseline

 private:
  FT_Library m_library = nullptr;
  FT_Face m_face = nullptr;
  int m_pixels = 0;
  int m_ascender = 0, m_descender = 0, m_lineStep = 0;
  std::unordered_map<std::uint32_t, Glyph> m_glyphs;
};

// FreeType's words for an error code, or nullptr for an unknown one.
const char* errorText(FT_Error err);

// How a text is drawn. Colours are straight (not premultiplied) 8-bit
// channels; an alpha of 0 leaves that layer out.
struct Style {
  std::uint8_t textRgb[3] = {255, 255, 255}, textAlpha = 255;
  std::uint8_t backRgb[3] = {0, 0, 0}, backAlpha = 0;
  std::uint8_t outlineRgb[3] = {0, 0, 0}, outlineAlpha = 255;
  int outline = 0;  // pixels around the glyphs
  int padding = 0;  // pixels around the text and its outline
  bool argb8888 = false;
};

// The text's box in pixels: its lines' advances and ink, outline and
// padding on every side, each side rounded up to an even count (at least 2).
struct Box {
  int width = 0, height = 0;
  int originX = 0, originY = 0;  // the first line's pen start and baseline
};

Box measure(Font& font, const char* text, std::size_t length, const Style& style);

// Draws the text into `out` (box.width * box.height pixels of 2 or 4
// bytes, rows top to bottom): ARGB1555 little-endian, or B, G, R, A. The
// coverage buffers hold box.width * box.height bytes each; `outline` is
// used only when the style has one.
void draw(Font& font, const char* text, std::size_t length, const Style& style, const Box& box,
          std::uint8_t* glyphCoverage, std::uint8_t* outlineCoverage, std::uint8_t* out);

}  // namespace TesselOsd
