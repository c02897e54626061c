// Module class VDEC and the registration of the decoder classes.
#include "frame/methods.h"
#include "frame/modules.h"
#include "video/vdec/vdec.h"

namespace Tessel {
namespace {

// Both factories share one message, under the name GetChannel.
bool validChannel(int chn) {
  if (static_cast<unsigned>(chn) < kVdecMaxChannels) return true;
  TESSEL_DIAG_AS("GetChannel", "Invalid VDEC channel ID. Valid range is [0," << kVdecMaxChannels << ")");
  return false;
}

}  // namespace

// SetModParam(params): params is the last value on the stack.
int VDEC::SetModParam(lua_State* L) {
  if (lua_gettop(L) == 0) lua_pushnil(L);
  VDEC_MOD_PARAM_S param;
  if (!readArg(L, lua_gettop(L), &param, __func__, __LINE__)) return 2;
  return pushStatus(L, HI_MPI_VDEC_SetModParam(&param), "Fail to set VDEC mod parameters", __func__, __LINE__);
}

// The getter reports failure in the setter's words.
int VDEC::GetModParam(lua_State* L) {
  return getAsTable<VDEC_MOD_PARAM_S>(L, __func__, __LINE__, "Fail to set VDEC mod parameters",
                                      [](VDEC_MOD_PARAM_S* p) { return HI_MPI_VDEC_GetModParam(p); });
}

// The channel is returned whether or not the platform created it.
RefCountedObjectPtr<VDECChannel> VDEC::CreateChannel(int chn, lua_State* L) {
  if (!validChannel(chn)) return nullptr;
  return createWith(L, new VDECChannel(chn));
}

RefCountedObjectPtr<VDECChannel> VDEC::GetChannel(int chn) {
  if (!validChannel(chn)) return nullptr;
  return new VDECChannel(chn);
}

// Cleans up a channel left by an earlier process.
int VDEC::ForceFreeChannel(int chn) {
  HI_MPI_VDEC_StopRecvStream(chn);
  return HI_MPI_VDEC_DestroyChn(chn);
}

void VDEC_Register(lua_State* L) {
  beginClass<VDECChannel, Channel>(L, "VDECChannel")
      .addCFunction<&VDECChannel::Create>("Create")
      .addFunction<&VDECChannel::Destroy>("Destroy")
      .addFunction<&VDECChannel::Reset>("Reset")
      .addFunction<&VDECChannel::Start>("Start")
      .addFunction<&VDECChannel::Stop>("Stop")
      .addCFunction<&VDECChannel::Query>("Query")
      .addFunction<&VDECChannel::GetFd>("GetFd")
      .addFunction<&VDECChannel::CloseFd>("CloseFd")
      .addCFunction<&VDECChannel::GetAttr>("GetAttr")
      .addCFunction<&VDECChannel::SetParam>("SetParam")
      .addCFunction<&VDECChannel::GetParam>("GetParam")
      .addCFunction<&VDECChannel::SetProtocolParam>("SetProtocolParam")
      .addCFunction<&VDECChannel::GetProtocolParam>("GetProtocolParam")
      .addCFunction<&VDECChannel::Placeholder>("GetUserData")
      .addFunction<&VDECChannel::SetRotate>("SetRotate")
      .addFunction<&VDECChannel::GetRotate>("GetRotate")
      .addCFunction<&VDECChannel::Placeholder>("SetUserPic")
      .addCFunction<&VDECChannel::EnableUserPic>("EnableUserPic")
      .addCFunction<&VDECChannel::DisableUserPic>("DisableUserPic")
      .addCFunction<&VDECChannel::SetDisplayMode>("SetDisplayMode")
      .addCFunction<&VDECChannel::GetDisplayMode>("GetDisplayMode")
      .addFunction<&VDECChannel::GetVBCnt>("GetVBCnt")
      .addFunction<&VDECChannel::SetVBCnt>("SetVBCnt")
      .addFunction<&VDECChannel::AttachVbPool>("AttachVbPool")
      .addFunction<&VDECChannel::DetachVbPool>("DetachVbPool")
      .addCFunction<&VDECChannel::SendStream>("SendStream")
      .addCFunction<&VDECChannel::GetImage>("GetImage");

  beginClass<VDEC>(L, "VDEC")
      .addStaticProperty<&VDEC::get_MaxChannels>("MaxChannels")
      .addStaticCFunction("SetModParam", &VDEC::SetModParam)
      .addStaticCFunction("GetModParam", &VDEC::GetModParam)
      .addStaticFunction<&VDEC::CreateChannel>("CreateChannel")
      .addStaticFunction<&VDEC::GetChannel>("GetChannel")
      .addStaticFunction<&VDEC::ForceFreeChannel>("ForceFreeChannel");
}

}  // namespace Tessel
