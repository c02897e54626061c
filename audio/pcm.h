// Sound frames between the platform's AUDIO_FRAME_S and Lua: a string of
// interleaved samples and a table describing them. Shared by every audio
// class that takes or gives frames (AI, AO, AENC, ADEC).
#pragma once

#include <cstddef>

#include <lua.hpp>

#include "platform/mpp.h"

namespace Tessel {

// The most bytes a frame holds, both channels together.
constexpr std::size_t kPcmMax = MAX_AUDIO_FRAME_LEN;

// What a frame says about itself, kept once the frame has gone back.
struct PcmInfo {
  HI_U64 pts;
  HI_U32 seq;
  AUDIO_BIT_WIDTH_E width;
  AUDIO_SOUND_MODE_E mode;
  HI_U32 samples;  // per channel
};

// Copies the frame's samples into out (kPcmMax bytes), the two channels of a
// stereo frame interleaved, and fills *info. Answers the bytes copied, or 0
// when the frame names no samples, has a width or mode without a size, or
// holds more than kPcmMax bytes. Raises nothing.
std::size_t copyPcm(const AUDIO_FRAME_S& frame, char* out, PcmInfo* info);

// Pushes the string and the table { pts, seq, bitWidth, soundMode, samples }.
// May raise (memory): only once the frame is back.
int pushPcm(lua_State* L, const char* bytes, std::size_t size, const PcmInfo& info);

// Reads a frame to hand to the platform: the string at pcm (raises when it
// is not a string) and the optional table at info ({bitWidth, soundMode,
// pts, seq}; 16 bits, mono, 0 and 0 by default). A mono frame points into
// the string itself, a stereo one into planes (kPcmMax bytes), one channel
// after the other. Answers null, or the text of what is wrong.
const char* readPcm(lua_State* L, int pcm, int info, AUDIO_FRAME_S* frame, char* planes);

}  // namespace Tessel
