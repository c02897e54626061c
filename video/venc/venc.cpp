// Module class VENC and the registration of the encoder classes.
#include "frame/methods.h"
#include "frame/modules.h"
#include "video/venc/venc.h"

namespace Tessel {
namespace {

bool validChannel(int chn) {
  if (static_cast<unsigned>(chn) < kVencMaxChannels) return true;
  TESSEL_DIAG_AS("GetChannel", "Invalid VENC channel ID. Valid range is [0," << kVencMaxChannels << ")");
  return false;
}

}  // namespace

// SetModParam(params): params is the last value on the stack.
int VENC::SetModParam(lua_State* L) {
  if (lua_gettop(L) == 0) lua_pushnil(L);
  VENC_PARAM_MOD_S param;
  if (!readArg(L, lua_gettop(L), &param, __func__, __LINE__)) return 2;
  HI_S32 rc = HI_MPI_VENC_SetModParam(&param);
  if (rc != HI_SUCCESS) return TESSEL_FAIL_CODE(L, "Fail to set VENC mod parameters", rc);
  return pushSuccess(L);
}

// The request goes out zeroed: nothing chooses the module type.
int VENC::GetModParam(lua_State* L) {
  return getAsTable<VENC_PARAM_MOD_S>(L, __func__, __LINE__, "Fail to set VENC mod parameters",
                                      [](VENC_PARAM_MOD_S* p) { return HI_MPI_VENC_GetModParam(p); });
}

// The channel is returned whether or not the platform created it.
RefCountedObjectPtr<VENCChannel> VENC::CreateChannel(int chn, lua_State* L) {
  if (!validChannel(chn)) return nullptr;
  return createWith(L, new VENCChannel(chn));
}

RefCountedObjectPtr<VENCChannel> VENC::GetChannel(int chn) {
  if (!validChannel(chn)) return nullptr;
  return new VENCChannel(chn);
}

// Cleans up a channel left by an earlier process.
int VENC::ForceFreeChannel(int chn) {
  HI_MPI_VENC_StopRecvPic(chn);
  return HI_MPI_VENC_DestroyChn(chn);
}

void VENC_Register(lua_State* L) {
  beginClass<VENCChannel, Channel>(L, "VENCChannel")
      .addProperty<&VENCChannel::get_MaxROIs>("MaxROIs")
      .addCFunction<&VENCChannel::Create>("Create")
      .addFunction<&VENCChannel::Destroy>("Destroy")
      .addFunction<&VENCChannel::Reset>("Reset")
      .addFunction<&VENCChannel::Start>("Start")
      .addFunction<&VENCChannel::StartEx>("StartEx")
      .addFunction<&VENCChannel::Stop>("Stop")
      .addCFunction<&VENCChannel::Query>("Query")
      .addCFunction<&VENCChannel::SetAttr>("SetAttr")
      .addCFunction<&VENCChannel::GetAttr>("GetAttr")
      .addCFunction<&VENCChannel::InsertUserData>("InsertUserData")
      .addFunction<&VENCChannel::SetMaxStreamCnt>("SetMaxStreamCnt")
      .addFunction<&VENCChannel::GetMaxStreamCnt>("GetMaxStreamCnt")
      .addCFunction<&VENCChannel::GetStream>("GetStream")
      .addCFunction<&VENCChannel::SendFrame>("SendFrame")
      .addCFunction<&VENCChannel::RequestIDR>("RequestIDR")
      .addFunction<&VENCChannel::EnableIDR>("EnableIDR")
      .addCFunction<&VENCChannel::SetH264IdrPicId>("SetH264IdrPicId")
      .addCFunction<&VENCChannel::GetH264IdrPicId>("GetH264IdrPicId")
      .addFunction<&VENCChannel::GetFd>("GetFd")
      .addFunction<&VENCChannel::CloseFd>("CloseFd")
      .addCFunction<&VENCChannel::SetRoiCfg>("SetRoiCfg")
      .addCFunction<&VENCChannel::GetRoiCfg>("GetRoiCfg")
      .addCFunction<&VENCChannel::SetRoiBgFrameRate>("SetRoiBgFrameRate")
      .addCFunction<&VENCChannel::GetRoiBgFrameRate>("GetRoiBgFrameRate")
      .addCFunction<&VENCChannel::SetH264SliceSplit>("SetH264SliceSplit")
      .addCFunction<&VENCChannel::GetH264SliceSplit>("GetH264SliceSplit")
      .addCFunction<&VENCChannel::SetH264InterPred>("SetH264InterPred")
      .addCFunction<&VENCChannel::GetH264InterPred>("GetH264InterPred")
      .addCFunction<&VENCChannel::SetH264IntraPred>("SetH264IntraPred")
      .addCFunction<&VENCChannel::GetH264IntraPred>("GetH264IntraPred")
      .addCFunction<&VENCChannel::Placeholder>("SetH264Trans")
      .addCFunction<&VENCChannel::Placeholder>("GetH264Trans")
      .addCFunction<&VENCChannel::Placeholder>("SetH264Entropy")
      .addCFunction<&VENCChannel::Placeholder>("GetH264Entropy")
      .addCFunction<&VENCChannel::Placeholder>("SetH264Poc")
      .addCFunction<&VENCChannel::Placeholder>("GetH264Poc")
      .addCFunction<&VENCChannel::SetH264Dblk>("SetH264Dblk")
      .addCFunction<&VENCChannel::GetH264Dblk>("GetH264Dblk")
      .addCFunction<&VENCChannel::Placeholder>("SetH264Vui")
      .addCFunction<&VENCChannel::Placeholder>("GetH264Vui")
      .addCFunction<&VENCChannel::Placeholder>("SetJpegParam")
      .addCFunction<&VENCChannel::Placeholder>("GetJpegParam")
      .addCFunction<&VENCChannel::Placeholder>("SetMjpegParam")
      .addCFunction<&VENCChannel::Placeholder>("GetMjpegParam")
      .addCFunction<&VENCChannel::SetFrameRate>("SetFrameRate")
      .addCFunction<&VENCChannel::GetFrameRate>("GetFrameRate")
      .addCFunction<&VENCChannel::Placeholder>("GetRcParam")
      .addCFunction<&VENCChannel::Placeholder>("SetRcParam")
      .addCFunction<&VENCChannel::SetRefParam>("SetRefParam")
      .addCFunction<&VENCChannel::GetRefParam>("GetRefParam")
      .addCFunction<&VENCChannel::Placeholder>("SetRefParamEx")
      .addCFunction<&VENCChannel::Placeholder>("GetRefParamEx")
      .addFunction<&VENCChannel::SetColor2Grey>("SetColor2Grey")
      .addFunction<&VENCChannel::GetColor2Grey>("GetColor2Grey")
      .addCFunction<&VENCChannel::SetCrop>("SetCrop")
      .addCFunction<&VENCChannel::GetCrop>("GetCrop")
      .addCFunction<&VENCChannel::SetFrameLostStrategy>("SetFrameLostStrategy")
      .addCFunction<&VENCChannel::GetFrameLostStrategy>("GetFrameLostStrategy")
      .addCFunction<&VENCChannel::Placeholder>("SetSuperFrameCfg")
      .addCFunction<&VENCChannel::Placeholder>("GetSuperFrameCfg")
      .addCFunction<&VENCChannel::Unsupported>("SetRcPriority")
      .addCFunction<&VENCChannel::Unsupported>("GetRcPriority")
      .addFunction<&VENCChannel::AttachVbPool>("AttachVbPool")
      .addFunction<&VENCChannel::DetachVbPool>("DetachVbPool");

  beginClass<VENC>(L, "VENC")
      .addStaticProperty<&VENC::get_MaxChannels>("MaxChannels")
      .addStaticCFunction("SetModParam", &VENC::SetModParam)
      .addStaticCFunction("GetModParam", &VENC::GetModParam)
      .addStaticFunction<&VENC::CreateChannel>("CreateChannel")
      .addStaticFunction<&VENC::GetChannel>("GetChannel")
      .addStaticFunction<&VENC::ForceFreeChannel>("ForceFreeChannel");
}

}  // namespace Tessel
