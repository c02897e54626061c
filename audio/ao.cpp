// Module class AO, the audio output devices and channels, and their
// registration.
#include "audio/aio.h"

#include "audio/pcm.h"
#include "frame/methods.h"
#include "frame/modules.h"

namespace Tessel {

RefCountedObjectPtr<AODevice> AO::GetDevice(int dev) {
  if (static_cast<unsigned>(dev) < kAudioMaxDevices) return new AODevice(dev);
  TESSEL_DIAG("Invalid AO device ID, valid number is [0," << kAudioMaxDevices << ")");
  return nullptr;
}

// ---- devices --------------------------------------------------------------------

int AODevice::SetPubAttr(lua_State* L) {
  return setAudioPubAttr(L, __func__, __LINE__, m_devId, &HI_MPI_AO_SetPubAttr, &m_enabled);
}

int AODevice::GetPubAttr(lua_State* L) {
  return getAudioPubAttr(L, __func__, __LINE__, "Get AO device attributes fail", m_devId, &HI_MPI_AO_GetPubAttr);
}

int AODevice::SetTrackMode(lua_State* L) {
  return setAudioTrackMode(L, __func__, __LINE__, "Fail to set AO device track mode", m_devId,
                           &HI_MPI_AO_SetTrackMode);
}

int AODevice::GetTrackMode(lua_State* L) {
  return getAudioTrackMode(L, __func__, __LINE__, "Fail to get AO device track mode", m_devId,
                           &HI_MPI_AO_GetTrackMode);
}

int AODevice::ClrPubAttr() {
  HI_S32 rc = HI_MPI_AO_ClrPubAttr(m_devId);
  if (rc != HI_SUCCESS) TESSEL_DIAG("Fail to clear pub attributes of device:" << m_devId);
  return rc;
}

// Only the channels the attributes enable are handed out.
RefCountedObjectPtr<AOChannel> AODevice::GetChannel(int chn) {
  if (chn >= 0 && chn < m_enabled) return new AOChannel(m_devId, chn);
  TESSEL_DIAG("Invalid audio channel ID for device (ID=" << m_devId << "), valid channel ID is [0," << m_enabled
              << ")");
  return nullptr;
}

// The volume; 0 after a diagnostic line when the platform cannot say.
int AODevice::GetVolume() {
  HI_S32 db = 0;
  if (HI_MPI_AO_GetVolume(m_devId, &db) == HI_SUCCESS) return db;
  TESSEL_DIAG("Fail to get AO device volume of device:" << m_devId);
  return 0;
}

bool AODevice::GetMute() {
  HI_BOOL muted = HI_FALSE;
  AUDIO_FADE_S fade = {HI_FALSE, AUDIO_FADE_RATE_1, AUDIO_FADE_RATE_1};
  if (HI_MPI_AO_GetMute(m_devId, &muted, &fade) == HI_SUCCESS) return muted;
  TESSEL_DIAG("Fail to get AO device mute status of device:" << m_devId);
  return false;
}

// SetMute(enable [, fade]): a table as the last argument turns fading on,
// its "in" and "out" numbers the platform's fade rates.
int AODevice::SetMute(lua_State* L) {
  AUDIO_FADE_S fade = {HI_FALSE, AUDIO_FADE_RATE_1, AUDIO_FADE_RATE_1};
  int top = lua_gettop(L);
  if (lua_type(L, top) == LUA_TTABLE) {
    fade.bFade = HI_TRUE;
    lua_Integer rate;
    if (getInteger(L, top, "in", &rate)) fade.enFadeInRate = static_cast<AUDIO_FADE_RATE_E>(rate);
    if (getInteger(L, top, "out", &rate)) fade.enFadeOutRate = static_cast<AUDIO_FADE_RATE_E>(rate);
  }
  HI_BOOL enable = lua_toboolean(L, 2) ? HI_TRUE : HI_FALSE;
  lua_pushinteger(L, HI_MPI_AO_SetMute(m_devId, enable, &fade));
  return 1;
}

// ---- channels -------------------------------------------------------------------

int AOChannel::EnableReSmp(lua_Integer rate) {
  return enableResampling(rate, [&](AUDIO_SAMPLE_RATE_E r) { return HI_MPI_AO_EnableReSmp(m_devId, m_chnId, r); });
}

// SendFrame(pcm [, info] [, timeout]): the wait follows the table when
// there is one.
int AOChannel::SendFrame(lua_State* L) {
  const int info = lua_type(L, 3) == LUA_TTABLE ? 3 : 0;
  HI_S32 timeout = timeoutArg(L, info ? 4 : 3);
  AUDIO_FRAME_S frame;
  char planes[kPcmMax];
  if (const char* bad = readPcm(L, 2, info ? info : 3, &frame, planes)) return TESSEL_FAIL(L, bad);
  HI_S32 rc = HI_MPI_AO_SendFrame(m_devId, m_chnId, &frame, timeout);
  if (rc != HI_SUCCESS) return TESSEL_FAIL_CODE(L, "Fail to send AO frame", rc);
  return pushSuccess(L);
}

void AO_Register(lua_State* L) {
  beginClass<AOChannel, Channel>(L, "AOChannel")
      .addFunction<&AOChannel::Enable>("Enable")
      .addFunction<&AOChannel::Disable>("Disable")
      .addFunction<&AOChannel::Pause>("Pause")
      .addFunction<&AOChannel::Resume>("Resume")
      .addFunction<&AOChannel::EnableReSmp>("EnableReSmp")
      .addFunction<&AOChannel::DisableReSmp>("DisableReSmp")
      .addCFunction<&AOChannel::Nothing>("SetVqeAttr")
      .addCFunction<&AOChannel::Nothing>("GetVqeAttr")
      .addCFunction<&AOChannel::Nothing>("EnableVqe")
      .addCFunction<&AOChannel::Nothing>("DisableVqe")
      .addFunction<&AOChannel::ClearBuf>("ClearBuf")
      .addCFunction<&AOChannel::SendFrame>("SendFrame")
      .addFunction<&AOChannel::GetFd>("GetFd");

  beginClass<AODevice>(L, "AODevice")
      .addProperty<&AODevice::get_MaxChannels>("MaxChannels")
      .addProperty<&AODevice::get_MaxEnabledChannels>("MaxEnabledChannels")
      .addFunction<&AODevice::Enable>("Enable")
      .addFunction<&AODevice::Disable>("Disable")
      .addCFunction<&AODevice::SetPubAttr>("SetPubAttr")
      .addCFunction<&AODevice::GetPubAttr>("GetPubAttr")
      .addCFunction<&AODevice::SetTrackMode>("SetTrackMode")
      .addCFunction<&AODevice::GetTrackMode>("GetTrackMode")
      .addFunction<&AODevice::ClrPubAttr>("ClrPubAttr")
      .addFunction<&AODevice::GetChannel>("GetChannel")
      .addFunction<&AODevice::GetVolume>("GetVolume")
      .addFunction<&AODevice::SetVolume>("SetVolume")
      .addFunction<&AODevice::GetMute>("GetMute")
      .addCFunction<&AODevice::SetMute>("SetMute");

  beginClass<AO>(L, "AO")
      .addStaticProperty<&AO::get_MaxDevices>("MaxDevices")
      .addStaticFunction<&AO::GetDevice>("GetDevice");
}

}  // namespace Tessel
