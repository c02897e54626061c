// The moving test picture capture channels show when no file feeds them.
#pragma once

#include "media/media.h"

namespace sim {
namespace media {

// Draws frame `frame` of channel `channel`'s pattern at time `us` into pic:
// colour bars, a box that moves a step a frame, and a line of text naming
// the channel, the frame number and the time.
void draw_pattern(Picture& pic, int channel, std::uint32_t frame, std::int64_t us);
// The two halves of it: the bars, the same in every frame, and what moves.
void draw_bars(Picture& pic);
void draw_marks(Picture& pic, int channel, std::uint32_t frame, std::int64_t us);

// Writes text (digits, capitals, space and ":#./-") in luma at (x, y), cells
// of 6x8 units of `unit` pixels, on a dark band.
void draw_text(Picture& pic, std::uint32_t x, std::uint32_t y, std::uint32_t unit, const char* text);

}  // namespace media
}  // namespace sim
