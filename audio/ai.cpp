// Module class AI, the audio input devices and channels, and their
// registration.
#include "audio/aio.h"

#include "audio/pcm.h"
#include "frame/methods.h"
#include "frame/modules.h"

namespace Tessel {

RefCountedObjectPtr<AIDevice> AI::GetDevice(int dev) {
  if (static_cast<unsigned>(dev) < kAudioMaxDevices) return new AIDevice(dev);
  TESSEL_DIAG("Invalid AI device ID, valid number is [0," << kAudioMaxDevices << ")");
  return nullptr;
}

// ---- devices --------------------------------------------------------------------

int AIDevice::SetPubAttr(lua_State* L) {
  return setAudioPubAttr(L, __func__, __LINE__, m_devId, &HI_MPI_AI_SetPubAttr, &m_enabled);
}

int AIDevice::GetPubAttr(lua_State* L) {
  return getAudioPubAttr(L, __func__, __LINE__, "Get AI device attributes fail", m_devId, &HI_MPI_AI_GetPubAttr);
}

int AIDevice::SetTrackMode(lua_State* L) {
  return setAudioTrackMode(L, __func__, __LINE__, "Fail to set AI device track mode", m_devId,
                           &HI_MPI_AI_SetTrackMode);
}

int AIDevice::GetTrackMode(lua_State* L) {
  return getAudioTrackMode(L, __func__, __LINE__, "Fail to get AI device track mode", m_devId,
                           &HI_MPI_AI_GetTrackMode);
}

// Any channel number is handed out; one the attributes do not enable is
// warned about.
RefCountedObjectPtr<AIChannel> AIDevice::GetChannel(int chn) {
  if (chn < 0 || chn >= m_enabled)
    TESSEL_DIAG("WARNING! Invalid audio channel ID for device (ID=" << m_devId << "), valid channel ID is [0,"
                << m_enabled << "). You can get the channel but may it will not work correctly!");
  return new AIChannel(m_devId, chn);
}

// ---- channels -------------------------------------------------------------------

int AIChannel::SetParam(lua_State* L) {
  if (lua_type(L, 2) != LUA_TTABLE) return TESSEL_FAIL(L, "Invalid attrs");
  return setFromTable<AI_CHN_PARAM_S>(L, __func__, __LINE__, "Set channel attributes fail",
      [&](AI_CHN_PARAM_S* p) { return HI_MPI_AI_SetChnParam(m_devId, m_chnId, p); });
}

int AIChannel::GetParam(lua_State* L) {
  return getAsTable<AI_CHN_PARAM_S>(L, __func__, __LINE__, "Get AI channel parameter fail",
      [&](AI_CHN_PARAM_S* p) { return HI_MPI_AI_GetChnParam(m_devId, m_chnId, p); });
}

int AIChannel::EnableReSmp(lua_Integer rate) {
  return enableResampling(rate, [&](AUDIO_SAMPLE_RATE_E r) { return HI_MPI_AI_EnableReSmp(m_devId, m_chnId, r); });
}

// The echo reference is the output device and channel of the input's own
// numbers.
int AIChannel::SetVqeAttr(lua_State* L) {
  return setFromTable<AI_VQE_CONFIG_S>(L, __func__, __LINE__, "****** Set Vqe Attr fail",
      [&](AI_VQE_CONFIG_S* p) { return HI_MPI_AI_SetVqeAttr(m_devId, m_chnId, m_devId, m_chnId, p); });
}

int AIChannel::GetVqeAttr(lua_State* L) {
  return getAsTable<AI_VQE_CONFIG_S>(L, __func__, __LINE__, "****** Get Vqe Attr fail",
      [&](AI_VQE_CONFIG_S* p) { return HI_MPI_AI_GetVqeAttr(m_devId, m_chnId, p); });
}

// Enabling and disabling report failure alike, with the message alone.
int AIChannel::EnableVqe(lua_State* L) {
  HI_S32 rc = HI_MPI_AI_EnableVqe(m_devId, m_chnId);
  if (rc == HI_SUCCESS) return pushSuccess(L);
  TESSEL_FAIL_CODE(L, "************* Enable vqe failed", rc);
  return 1;
}

int AIChannel::DisableVqe(lua_State* L) {
  HI_S32 rc = HI_MPI_AI_DisableVqe(m_devId, m_chnId);
  if (rc == HI_SUCCESS) return pushSuccess(L);
  TESSEL_FAIL_CODE(L, "************* Enable vqe failed", rc);
  return 1;
}

// The volume, or the platform's code when it fails.
int AIChannel::GetVeqVolume() {
  HI_S32 db = 0;
  HI_S32 rc = HI_MPI_AI_GetVqeVolume(m_devId, m_chnId, &db);
  return rc == HI_SUCCESS ? db : rc;
}

// GetFrame([timeout]): the samples are copied on the C stack and the frame
// given back before any Lua value is made, so nothing can raise while the
// frame is held.
int AIChannel::GetFrame(lua_State* L) {
  HI_S32 timeout = timeoutArg(L, 2);
  AUDIO_FRAME_S frame;
  AEC_FRAME_S aec;
  std::memset(&frame, 0, sizeof frame);
  std::memset(&aec, 0, sizeof aec);
  HI_S32 rc = HI_MPI_AI_GetFrame(m_devId, m_chnId, &frame, &aec, timeout);
  if (rc != HI_SUCCESS) return TESSEL_FAIL_CODE(L, "Fail to get AI frame", rc);
  char pcm[kPcmMax];
  PcmInfo info;
  std::size_t size = copyPcm(frame, pcm, &info);
  rc = HI_MPI_AI_ReleaseFrame(m_devId, m_chnId, &frame, &aec);
  if (rc != HI_SUCCESS) return TESSEL_FAIL_CODE(L, "Fail to release AI frame", rc);
  if (size == 0) return TESSEL_FAIL(L, "Invalid AI frame");
  return pushPcm(L, pcm, size, info);
}

void AI_Register(lua_State* L) {
  beginClass<AIChannel, Channel>(L, "AIChannel")
      .addFunction<&AIChannel::Enable>("Enable")
      .addFunction<&AIChannel::Disable>("Disable")
      .addCFunction<&AIChannel::SetParam>("SetParam")
      .addCFunction<&AIChannel::GetParam>("GetParam")
      .addFunction<&AIChannel::EnableReSmp>("EnableReSmp")
      .addFunction<&AIChannel::DisableReSmp>("DisableReSmp")
      .addCFunction<&AIChannel::SetVqeAttr>("SetVqeAttr")
      .addCFunction<&AIChannel::GetVqeAttr>("GetVqeAttr")
      .addCFunction<&AIChannel::EnableVqe>("EnableVqe")
      .addCFunction<&AIChannel::DisableVqe>("DisableVqe")
      .addFunction<&AIChannel::SetVeqVolume>("SetVeqVolume")
      .addFunction<&AIChannel::GetVeqVolume>("GetVeqVolume")
      .addCFunction<&AIChannel::GetFrame>("GetFrame")
      .addFunction<&AIChannel::GetFd>("GetFd");

  beginClass<AIDevice>(L, "AIDevice")
      .addProperty<&AIDevice::get_MaxChannels>("MaxChannels")
      .addProperty<&AIDevice::get_MaxEnabledChannels>("MaxEnabledChannels")
      .addFunction<&AIDevice::Enable>("Enable")
      .addFunction<&AIDevice::Disable>("Disable")
      .addCFunction<&AIDevice::SetPubAttr>("SetPubAttr")
      .addCFunction<&AIDevice::GetPubAttr>("GetPubAttr")
      .addCFunction<&AIDevice::SetTrackMode>("SetTrackMode")
      .addCFunction<&AIDevice::GetTrackMode>("GetTrackMode")
      .addFunction<&AIDevice::ClrPubAttr>("ClrPubAttr")
      .addFunction<&AIDevice::GetChannel>("GetChannel");

  beginClass<AI>(L, "AI")
      .addStaticProperty<&AI::get_MaxDevices>("MaxDevices")
      .addStaticFunction<&AI::GetDevice>("GetDevice");
}

}  // namespace Tessel
