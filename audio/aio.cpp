// What the audio input and output devices share: their public attributes
// and track mode.
#include "audio/aio.h"

#include "frame/methods.h"

namespace Tessel {

// Answers the result count; on success *enabled becomes the channels the
// attributes enable.
int setAudioPubAttr(lua_State* L, const char* func, int line, int dev,
                    HI_S32 (*fn)(AUDIO_DEV, const AIO_ATTR_S*), int* enabled) {
  if (lua_type(L, 2) != LUA_TTABLE) return pushFailure(L, "Invalid attrs", func, line);
  AIO_ATTR_S attr;
  if (!readArg(L, 2, &attr, func, line)) return 2;
  HI_S32 rc = fn(dev, &attr);
  if (rc != HI_SUCCESS) return pushFailure(L, "Set device pub attributes fail", func, line, rc);
  *enabled = enabledChannels(attr);
  return pushSuccess(L);
}

// A failure answers its message alone.
int getAudioPubAttr(lua_State* L, const char* func, int line, const char* failText, int dev,
                    HI_S32 (*fn)(AUDIO_DEV, AIO_ATTR_S*)) {
  AIO_ATTR_S attr;
  std::memset(&attr, 0, sizeof attr);
  HI_S32 rc = fn(dev, &attr);
  if (rc != HI_SUCCESS) {
    pushFailure(L, failText, func, line, rc);
    return 1;
  }
  return pushResult(L, attr, func, line);
}

int setAudioTrackMode(lua_State* L, const char* func, int line, const char* failText, int dev,
                      HI_S32 (*fn)(AUDIO_DEV, AUDIO_TRACK_MODE_E)) {
  AUDIO_TRACK_MODE_E mode;
  if (!readArg(L, 2, &mode, func, line)) return 2;
  return pushStatus(L, fn(dev, mode), failText, func, line);
}

int getAudioTrackMode(lua_State* L, const char* func, int line, const char* failText, int dev,
                      HI_S32 (*fn)(AUDIO_DEV, AUDIO_TRACK_MODE_E*)) {
  AUDIO_TRACK_MODE_E mode = AUDIO_TRACK_NORMAL;
  HI_S32 rc = fn(dev, &mode);
  if (rc != HI_SUCCESS) return pushFailure(L, failText, func, line, rc);
  return pushResult(L, mode, func, line);
}

}  // namespace Tessel
