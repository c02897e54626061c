// Module class AENC and the audio encoder channels, and their registration.
#include "audio/coding.h"
#include "audio/pcm.h"
#include "frame/methods.h"
#include "frame/modules.h"
#include "frame/stream_copy.h"

namespace Tessel {
namespace {

bool validChannel(int chn) {
  if (static_cast<unsigned>(chn) < kAencMaxChannels) return true;
  TESSEL_DIAG_AS("GetChannel", "Invalid AENC channel ID. Valid range is [0," << kAencMaxChannels << ")");
  return false;
}

// An audio stream is one pack: the frame's bytes.
void audioPack(const void* stream, std::uint32_t, StreamPack* out) {
  const AUDIO_STREAM_S& s = *static_cast<const AUDIO_STREAM_S*>(stream);
  out->data = s.pStream;
  out->length = s.u32Len;
  out->pts = s.u64TimeStamp;
  out->type = 0;
  out->frameEnd = true;
}

}  // namespace

// Create(attrs): attrs is the last value on the stack.
int AENCChannel::Create(lua_State* L) {
  int top = lua_gettop(L);
  if (lua_type(L, top) != LUA_TTABLE) return TESSEL_FAIL(L, "Invalid attributes for creating AENC channel!");
  AencChnAttr attr;
  if (!readArg(L, top, &attr, __func__, __LINE__)) return 2;
  HI_S32 rc = HI_MPI_AENC_CreateChn(m_chnId, &attr.head);
  if (rc == HI_SUCCESS) m_created = true;
  return pushStatus(L, rc, "Fail to create AENC channel", __func__, __LINE__);
}

int AENCChannel::Destroy() {
  if (!m_created) return 0;
  m_created = false;
  return HI_MPI_AENC_DestroyChn(m_chnId);
}

int AENCChannel::SendFrame(lua_State* L) {
  AUDIO_FRAME_S frame;
  AEC_FRAME_S aec;
  std::memset(&aec, 0, sizeof aec);
  char planes[kPcmMax];
  if (const char* bad = readPcm(L, 2, 3, &frame, planes)) return TESSEL_FAIL(L, bad);
  HI_S32 rc = HI_MPI_AENC_SendFrame(m_chnId, &frame, &aec);
  if (rc != HI_SUCCESS) return TESSEL_FAIL_CODE(L, "Fail to send AENC frame", rc);
  return pushSuccess(L);
}

// GetStream([timeout]): the stream is held only between GetStream and
// ReleaseStream; the result is built under copyStream's protected call.
int AENCChannel::GetStream(lua_State* L) {
  HI_S32 timeout = timeoutArg(L, 2);
  AUDIO_STREAM_S stream;
  std::memset(&stream, 0, sizeof stream);
  HI_S32 rc = HI_MPI_AENC_GetStream(m_chnId, &stream, timeout);
  if (rc != HI_SUCCESS) return TESSEL_FAIL_CODE(L, "Fail to get AENC stream", rc);
  StreamView view{&stream, 1, &audioPack, nullptr, stream.u32Seq};
  int built = copyStream(L, view);
  HI_S32 released = HI_MPI_AENC_ReleaseStream(m_chnId, &stream);
  if (built != LUA_OK) return lua_error(L);
  if (released != HI_SUCCESS) return TESSEL_FAIL_CODE(L, "Fail to release AENC stream", released);
  return 2;
}

RefCountedObjectPtr<AENCChannel> AENC::CreateChannel(int chn, lua_State* L) {
  if (!validChannel(chn)) return nullptr;
  return createWith(L, new AENCChannel(chn));
}

RefCountedObjectPtr<AENCChannel> AENC::GetChannel(int chn) {
  if (!validChannel(chn)) return nullptr;
  return new AENCChannel(chn);
}

void AENC_Register(lua_State* L) {
  beginClass<AENCChannel, Channel>(L, "AENCChannel")
      .addCFunction<&AENCChannel::Create>("Create")
      .addFunction<&AENCChannel::Destroy>("Destroy")
      .addCFunction<&AENCChannel::SendFrame>("SendFrame")
      .addCFunction<&AENCChannel::GetStream>("GetStream")
      .addFunction<&AENCChannel::GetFd>("GetFd");

  beginClass<AENC>(L, "AENC")
      .addStaticProperty<&AENC::get_MaxChannels>("MaxChannels")
      .addStaticFunction<&AENC::CreateChannel>("CreateChannel")
      .addStaticFunction<&AENC::GetChannel>("GetChannel");
}

}  // namespace Tessel
