// Copying an encoded stream into Lua: the one way every encoder (video and
// audio) hands its stream to a script, as `data, info`:
//   data  the payload of every pack, in order, as one string
//   info  { pts = first pack's, seq = n, keyframe = bool,
//           packs = { { type = name or number, offset = 1-based position in
//                       data, length = n, pts = n, frameEnd = bool }, ... } }
// A stream whose packs carry no kinds (an audio frame, one pack) has the
// short info { pts = n, seq = n }.
#pragma once

#include <cstddef>
#include <cstdint>

#include <lua.hpp>

namespace Tessel {

// One pack as the copy reads it.
struct StreamPack {
  const void* data;     // its first payload byte
  std::size_t length;   // payload bytes
  std::uint64_t pts;
  int type;             // the platform's pack type
  bool frameEnd;
};

// What a pack type means to the script: its name (null: the number is given
// instead) and whether it makes the picture a key picture.
struct PackKind {
  const char* name;
  bool key;
};
using PackKinds = PackKind (*)(int type);

// A stream held by the platform, read pack by pack through pack(): the
// encoder's own pack array is not translated into another one.
struct StreamView {
  const void* packs;
  std::uint32_t count;
  void (*pack)(const void* packs, std::uint32_t i, StreamPack* out);
  PackKinds kinds;      // null: the short info, without keyframe and packs
  std::uint32_t seq;
};

// Pushes data and info for the stream under a protected call, so that the
// caller gives the stream back exactly once whatever happens: answers LUA_OK
// with the two values pushed, or a Lua error status with the error value
// pushed, which the caller raises again (lua_error) once the stream is back.
// The caller must have room for two values on the stack.
int copyStream(lua_State* L, const StreamView& view);

}  // namespace Tessel
