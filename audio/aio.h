// Audio input (AI) and output (AO): devices and their channels, over the
// HI_MPI_AI_* and HI_MPI_AO_* calls, and the audio conversions both share.
#pragma once

#include <lua.hpp>

#include "platform/mpp.h"

#include "frame/binding.h"
#include "frame/channel.h"
#include "frame/convert.h"
#include "frame/ref_counted.h"

// Device attributes, the audio enumerations, input channel parameters and
// voice-quality enhancement.
TESSEL_DECLARE_STRUCT(AIO_ATTR_S)
TESSEL_DECLARE_ENUM(AUDIO_SAMPLE_RATE_E)
TESSEL_DECLARE_ENUM(AUDIO_BIT_WIDTH_E)
TESSEL_DECLARE_ENUM(AIO_MODE_E)
TESSEL_DECLARE_ENUM(AUDIO_SOUND_MODE_E)
TESSEL_DECLARE_ENUM(AUDIO_TRACK_MODE_E)
TESSEL_DECLARE_ENUM(VQE_WORKSTATE_E)
TESSEL_DECLARE_ENUM(AUDIO_HPF_FREQ_E)
TESSEL_DECLARE_STRUCT(AI_CHN_PARAM_S)
TESSEL_DECLARE_STRUCT(AI_VQE_CONFIG_S)
TESSEL_DECLARE_STRUCT(AUDIO_HPF_CONFIG_S)
TESSEL_DECLARE_STRUCT(AUDIO_AGC_CONFIG_S)

namespace Tessel {

constexpr int kAudioMaxDevices = 2;
constexpr int kAudioMaxChannels = 16;

// Throws the conversion's text unless rate is a sample rate the platform has.
void check_AUDIO_SAMPLE_RATE_E(lua_Integer rate);

// Resampling to or from rate through enable(rate): -1 without a platform
// call, after a diagnostic line under EnableReSmp, when rate is no sample rate.
template <class Enable>
int enableResampling(lua_Integer rate, Enable&& enable) {
  try {
    check_AUDIO_SAMPLE_RATE_E(rate);
  } catch (MPPConvException& e) {
    TESSEL_DIAG_AS("EnableReSmp", "Convert sample rate error:" << e.m_msg);
    return -1;
  }
  return enable(static_cast<AUDIO_SAMPLE_RATE_E>(rate));
}

// The channels a device enables with attr: its channel count, halved in
// stereo.
inline int enabledChannels(const AIO_ATTR_S& attr) {
  int count = static_cast<int>(attr.u32ChnCnt);
  return attr.enSoundmode == AUDIO_SOUND_MODE_STEREO ? count / 2 : count;
}

// One audio input channel.
class AIChannel : public Channel, public RefCountedObjectType<int> {
 public:
  AIChannel(int dev, int chn) : Channel(HI_ID_AI, dev, chn) {}

  int Enable() { return HI_MPI_AI_EnableChn(m_devId, m_chnId); }
  int Disable() { return HI_MPI_AI_DisableChn(m_devId, m_chnId); }
  int SetParam(lua_State* L);
  int GetParam(lua_State* L);
  int EnableReSmp(lua_Integer rate);
  int DisableReSmp() { return HI_MPI_AI_DisableReSmp(m_devId, m_chnId); }
  int SetVqeAttr(lua_State* L);
  int GetVqeAttr(lua_State* L);
  int EnableVqe(lua_State* L);
  int DisableVqe(lua_State* L);
  int SetVeqVolume(int db) { return HI_MPI_AI_SetVqeVolume(m_devId, m_chnId, db); }
  int GetVeqVolume();
  int GetFd() { return HI_MPI_AI_GetFd(m_devId, m_chnId); }
};

// One audio input device; it remembers how many channels its last accepted
// attributes enable.
class AIDevice : public RefCountedObjectType<int> {
 public:
  explicit AIDevice(int dev) : m_devId(dev) {}

  int get_MaxChannels() const { return kAudioMaxChannels; }
  int get_MaxEnabledChannels() const { return m_enabled; }
  int Enable() { return HI_MPI_AI_Enable(m_devId); }
  int Disable() { return HI_MPI_AI_Disable(m_devId); }
  int SetPubAttr(lua_State* L);
  int GetPubAttr(lua_State* L);
  int SetTrackMode(lua_State* L);
  int GetTrackMode(lua_State* L);
  int ClrPubAttr() { return HI_MPI_AI_ClrPubAttr(m_devId); }
  RefCountedObjectPtr<AIChannel> GetChannel(int chn);

 private:
  int m_devId;
  int m_enabled = 0;
};

// One audio output channel.
class AOChannel : public Channel, public RefCountedObjectType<int> {
 public:
  AOChannel(int dev, int chn) : Channel(HI_ID_AO, dev, chn) {}

  int Enable() { return HI_MPI_AO_EnableChn(m_devId, m_chnId); }
  int Disable() { return HI_MPI_AO_DisableChn(m_devId, m_chnId); }
  int Pause() { return HI_MPI_AO_PauseChn(m_devId, m_chnId); }
  int Resume() { return HI_MPI_AO_ResumeChn(m_devId, m_chnId); }
  int EnableReSmp(lua_Integer rate);
  int DisableReSmp() { return HI_MPI_AO_DisableReSmp(m_devId, m_chnId); }
  int ClearBuf() { return HI_MPI_AO_ClearChnBuf(m_devId, m_chnId); }
  int GetFd() { return HI_MPI_AO_GetFd(m_devId, m_chnId); }

  // Registered as the VQE methods, for symmetry with input: answer 0.
  int Nothing(lua_State* L) {
    lua_pushinteger(L, 0);
    return 1;
  }
};

// One audio output device.
class AODevice : public RefCountedObjectType<int> {
 public:
  explicit AODevice(int dev) : m_devId(dev) {}

  int get_MaxChannels() const { return kAudioMaxChannels; }
  int get_MaxEnabledChannels() const { return m_enabled; }
  int Enable() { return HI_MPI_AO_Enable(m_devId); }
  int Disable() { return HI_MPI_AO_Disable(m_devId); }
  int SetPubAttr(lua_State* L);
  int GetPubAttr(lua_State* L);
  int SetTrackMode(lua_State* L);
  int GetTrackMode(lua_State* L);
  int ClrPubAttr();
  RefCountedObjectPtr<AOChannel> GetChannel(int chn);
  int GetVolume();
  int SetVolume(int db) { return HI_MPI_AO_SetVolume(m_devId, db); }
  bool GetMute();
  int SetMute(lua_State* L);

 private:
  int m_devId;
  int m_enabled = 0;
};

// Module classes: the devices.
class AI {
 public:
  static int get_MaxDevices() { return kAudioMaxDevices; }
  static RefCountedObjectPtr<AIDevice> GetDevice(int dev);
};

class AO {
 public:
  static int get_MaxDevices() { return kAudioMaxDevices; }
  static RefCountedObjectPtr<AODevice> GetDevice(int dev);
};

// The shapes both devices share: the attribute setter (which answers the
// channels the attributes enable, or -1), the getter whose failure is its
// message alone, and the track mode.
int setAudioPubAttr(lua_State* L, const char* func, int line, int dev,
                    HI_S32 (*fn)(AUDIO_DEV, const AIO_ATTR_S*), int* enabled);
int getAudioPubAttr(lua_State* L, const char* func, int line, const char* failText, int dev,
                    HI_S32 (*fn)(AUDIO_DEV, AIO_ATTR_S*));
int setAudioTrackMode(lua_State* L, const char* func, int line, const char* failText, int dev,
                      HI_S32 (*fn)(AUDIO_DEV, AUDIO_TRACK_MODE_E));
int getAudioTrackMode(lua_State* L, const char* func, int line, const char* failText, int dev,
                      HI_S32 (*fn)(AUDIO_DEV, AUDIO_TRACK_MODE_E*));

}  // namespace Tessel
