// Module class ADEC and the audio decoder channels, and their registration.
#include "audio/coding.h"
#include "audio/pcm.h"
#include "frame/methods.h"
#include "frame/modules.h"

namespace Tessel {
namespace {

bool validChannel(int chn) {
  if (static_cast<unsigned>(chn) < kAdecMaxChannels) return true;
  TESSEL_DIAG_AS("GetChannel", "Invalid ADEC channel ID. Valid range is [0," << kAdecMaxChannels << ")");
  return false;
}

// An optional flag that is true when absent.
HI_BOOL blockArg(lua_State* L, int idx) {
  return lua_isnoneornil(L, idx) || flagArg(L, idx) ? HI_TRUE : HI_FALSE;
}

}  // namespace

int ADECChannel::Create(lua_State* L) {
  int top = lua_gettop(L);
  if (lua_type(L, top) != LUA_TTABLE) return TESSEL_FAIL(L, "Invalid attributes for creating ADEC channel!");
  AdecChnAttr attr;
  if (!readArg(L, top, &attr, __func__, __LINE__)) return 2;
  HI_S32 rc = HI_MPI_ADEC_CreateChn(m_chnId, &attr.head);
  if (rc == HI_SUCCESS) m_created = true;
  return pushStatus(L, rc, "Fail to create ADEC channel", __func__, __LINE__);
}

int ADECChannel::Destroy() {
  if (!m_created) return 0;
  m_created = false;
  return HI_MPI_ADEC_DestroyChn(m_chnId);
}

// SendStream(data [, block]): the platform reads the bytes of the Lua string
// in place.
int ADECChannel::SendStream(lua_State* L) {
  luaL_checktype(L, 2, LUA_TSTRING);
  HI_BOOL block = blockArg(L, 3);
  std::size_t size = 0;
  const char* data = lua_tolstring(L, 2, &size);
  if (size == 0 || size > MAX_AUDIO_STREAM_LEN) return TESSEL_FAIL(L, "Invalid stream data");
  AUDIO_STREAM_S stream;
  std::memset(&stream, 0, sizeof stream);
  stream.pStream = reinterpret_cast<HI_U8*>(const_cast<char*>(data));
  stream.u32Len = static_cast<HI_U32>(size);
  HI_S32 rc = HI_MPI_ADEC_SendStream(m_chnId, &stream, block);
  if (rc != HI_SUCCESS) return TESSEL_FAIL_CODE(L, "Fail to send ADEC stream", rc);
  return pushSuccess(L);
}

// GetFrame([block]): copied on the C stack and given back before any Lua
// value is made, as AIChannel:GetFrame does.
int ADECChannel::GetFrame(lua_State* L) {
  HI_BOOL block = blockArg(L, 2);
  AUDIO_FRAME_INFO_S got;
  std::memset(&got, 0, sizeof got);
  HI_S32 rc = HI_MPI_ADEC_GetFrame(m_chnId, &got, block);
  if (rc != HI_SUCCESS) return TESSEL_FAIL_CODE(L, "Fail to get ADEC frame", rc);
  char pcm[kPcmMax];
  PcmInfo info;
  std::size_t size = got.pstFrame ? copyPcm(*got.pstFrame, pcm, &info) : 0;
  rc = HI_MPI_ADEC_ReleaseFrame(m_chnId, &got);
  if (rc != HI_SUCCESS) return TESSEL_FAIL_CODE(L, "Fail to release ADEC frame", rc);
  if (size == 0) return TESSEL_FAIL(L, "Invalid ADEC frame");
  return pushPcm(L, pcm, size, info);
}

RefCountedObjectPtr<ADECChannel> ADEC::CreateChannel(int chn, lua_State* L) {
  if (!validChannel(chn)) return nullptr;
  return createWith(L, new ADECChannel(chn));
}

RefCountedObjectPtr<ADECChannel> ADEC::GetChannel(int chn) {
  if (!validChannel(chn)) return nullptr;
  return new ADECChannel(chn);
}

void ADEC_Register(lua_State* L) {
  beginClass<ADECChannel, Channel>(L, "ADECChannel")
      .addCFunction<&ADECChannel::Create>("Create")
      .addFunction<&ADECChannel::Destroy>("Destroy")
      .addCFunction<&ADECChannel::SendStream>("SendStream")
      .addCFunction<&ADECChannel::GetFrame>("GetFrame")
      .addFunction<&ADECChannel::ClearChnBuf>("ClearChnBuf")
      .addFunction<&ADECChannel::SendEndOfStream>("SendEndOfStream");

  beginClass<ADEC>(L, "ADEC")
      .addStaticProperty<&ADEC::get_MaxChannels>("MaxChannels")
      .addStaticFunction<&ADEC::CreateChannel>("CreateChannel")
      .addStaticFunction<&ADEC::GetChannel>("GetChannel");
}

}  // namespace Tessel
