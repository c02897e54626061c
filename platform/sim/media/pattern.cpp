// The capture test pattern.
#include "media/pattern.h"

#include <cstdio>
#include <cstring>

namespace sim {
namespace media {
namespace {

// 5x7 glyphs, one byte a row, bit 4 leftmost.
struct Glyph {
    char c;
    std::uint8_t rows[7];
};

const Glyph kGlyphs[] = {
    {'0', {0x0E, 0x11, 0x13, 0x15, 0x19, 0x11, 0x0E}}, {'1', {0x04, 0x0C, 0x04, 0x04, 0x04, 0x04, 0x0E}},
    {'2', {0x0E, 0x11, 0x01, 0x02, 0x04, 0x08, 0x1F}}, {'3', {0x1F, 0x02, 0x04, 0x02, 0x01, 0x11, 0x0E}},
    {'4', {0x02, 0x06, 0x0A, 0x12, 0x1F, 0x02, 0x02}}, {'5', {0x1F, 0x10, 0x1E, 0x01, 0x01, 0x11, 0x0E}},
    {'6', {0x06, 0x08, 0x10, 0x1E, 0x11, 0x11, 0x0E}}, {'7', {0x1F, 0x01, 0x02, 0x04, 0x08, 0x08, 0x08}},
    {'8', {0x0E, 0x11, 0x11, 0x0E, 0x11, 0x11, 0x0E}}, {'9', {0x0E, 0x11, 0x11, 0x0F, 0x01, 0x02, 0x0C}},
    {'A', {0x0E, 0x11, 0x11, 0x1F, 0x11, 0x11, 0x11}}, {'C', {0x0E, 0x11, 0x10, 0x10, 0x10, 0x11, 0x0E}},
    {'D', {0x1E, 0x11, 0x11, 0x11, 0x11, 0x11, 0x1E}}, {'E', {0x1F, 0x10, 0x10, 0x1E, 0x10, 0x10, 0x1F}},
    {'F', {0x1F, 0x10, 0x10, 0x1E, 0x10, 0x10, 0x10}}, {'H', {0x11, 0x11, 0x11, 0x1F, 0x11, 0x11, 0x11}},
    {'I', {0x0E, 0x04, 0x04, 0x04, 0x04, 0x04, 0x0E}}, {'M', {0x11, 0x1B, 0x15, 0x15, 0x11, 0x11, 0x11}},
    {'N', {0x11, 0x11, 0x19, 0x15, 0x13, 0x11, 0x11}}, {'R', {0x1E, 0x11, 0x11, 0x1E, 0x14, 0x12, 0x11}},
    {'S', {0x0F, 0x10, 0x10, 0x0E, 0x01, 0x01, 0x1E}}, {'T', {0x1F, 0x04, 0x04, 0x04, 0x04, 0x04, 0x04}},
    {'V', {0x11, 0x11, 0x11, 0x11, 0x11, 0x0A, 0x04}}, {':', {0x00, 0x0C, 0x0C, 0x00, 0x0C, 0x0C, 0x00}},
    {'.', {0x00, 0x00, 0x00, 0x00, 0x00, 0x0C, 0x0C}}, {'#', {0x0A, 0x0A, 0x1F, 0x0A, 0x1F, 0x0A, 0x0A}},
    {'/', {0x01, 0x01, 0x02, 0x04, 0x08, 0x10, 0x10}}, {'-', {0x00, 0x00, 0x00, 0x1F, 0x00, 0x00, 0x00}},
};

const Glyph* glyph(char c) {
    for (const Glyph& g : kGlyphs)
        if (g.c == c) return &g;
    return nullptr;
}

// Colour bars: luma and (V, U) of white, yellow, cyan, green, magenta, red, blue, black at 75%.
const std::uint8_t kBars[8][3] = {{180, 128, 128}, {162, 142, 44}, {131, 44, 156}, {112, 58, 72},
                                  {84, 198, 184},  {65, 212, 100}, {35, 114, 212}, {16, 128, 128}};

void fill(Picture& pic, std::uint32_t x0, std::uint32_t y0, std::uint32_t w, std::uint32_t h, std::uint8_t y,
          std::uint8_t v, std::uint8_t u) {
    if (x0 >= pic.width || y0 >= pic.height) return;
    if (x0 + w > pic.width) w = pic.width - x0;
    if (y0 + h > pic.height) h = pic.height - y0;
    for (std::uint32_t r = y0; r < y0 + h; ++r) std::memset(pic.plane(0) + r * pic.stride[0] + x0, y, w);
    const std::uint32_t sub = pic.rows[1] == pic.rows[0] ? 1 : 2;
    for (std::uint32_t r = y0 / sub; r < (y0 + h + sub - 1) / sub && r < pic.rows[1]; ++r) {
        std::uint8_t* row = pic.plane(1) + r * pic.stride[1];
        for (std::uint32_t x = x0 & ~1u; x < x0 + w && x + 1 < pic.width; x += 2) {
            row[x] = v;
            row[x + 1] = u;
        }
    }
}

}  // namespace

void draw_text(Picture& pic, std::uint32_t x, std::uint32_t y, std::uint32_t unit, const char* text) {
    const std::uint32_t len = static_cast<std::uint32_t>(std::strlen(text));
    fill(pic, x, y, (len * 6 + 1) * unit, 9 * unit, 16, 128, 128);
    for (std::uint32_t i = 0; i < len; ++i) {
        const Glyph* g = glyph(text[i]);
        if (!g) continue;
        for (std::uint32_t r = 0; r < 7; ++r)
            for (std::uint32_t c = 0; c < 5; ++c)
                if (g->rows[r] & (0x10 >> c)) {
                    const std::uint32_t px = x + (i * 6 + 1 + c) * unit, py = y + (r + 1) * unit;
                    for (std::uint32_t dy = 0; dy < unit && py + dy < pic.height; ++dy)
                        for (std::uint32_t dx = 0; dx < unit && px + dx < pic.width; ++dx)
                            pic.plane(0)[(py + dy) * pic.stride[0] + px + dx] = 235;
                }
    }
}

void draw_pattern(Picture& pic, int channel, std::uint32_t frame, std::int64_t us) {
    draw_bars(pic);
    draw_marks(pic, channel, frame, us);
}

void draw_bars(Picture& pic) {
    const std::uint32_t bar = (pic.width + 7) / 8;
    for (std::uint32_t b = 0; b < 8; ++b) fill(pic, b * bar, 0, bar, pic.height, kBars[b][0], kBars[b][1], kBars[b][2]);
}

void draw_marks(Picture& pic, int channel, std::uint32_t frame, std::int64_t us) {
    const std::uint32_t box = pic.height / 8 ? pic.height / 8 : 1;
    const std::uint32_t travel = pic.width > box ? pic.width - box : 1;
    const std::uint32_t step = pic.width / 96 ? pic.width / 96 : 1;
    const std::uint32_t pos = (frame * step) % (2 * travel);
    fill(pic, pos < travel ? pos : 2 * travel - pos, pic.height / 2 - box / 2, box, box, 235, 128, 128);
    char text[64];
    std::snprintf(text, sizeof text, "VI %d #%u %lld.%03lld", channel, frame, static_cast<long long>(us / 1000000),
                  static_cast<long long>(us / 1000 % 1000));
    const std::uint32_t unit = pic.height / 135 ? pic.height / 135 : 1;
    draw_text(pic, unit * 4, unit * 4, unit, text);
}

}  // namespace media
}  // namespace sim
