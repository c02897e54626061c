// VENCChannel: one encoder channel, addressed by its channel number.
#include <strings.h>

#include <cstdint>
#include <cstring>
#include <type_traits>

#include "frame/methods.h"
#include "frame/video_frame.h"
#include "video/venc/venc.h"

namespace Tessel {
namespace {

// Setter and getter of the table pattern for a platform call fn(chn, T*); the
// structure type follows from the call.
template <class T>
int setVia(lua_State* L, const char* func, int line, const char* text, VENC_CHN chn,
           HI_S32 (*fn)(VENC_CHN, T*)) {
  return setFromTable<std::remove_const_t<T>>(L, func, line, text, [&](auto* p) { return fn(chn, p); });
}

// Pack names by payload. A JPEG picture is a key picture whatever its packs.
PackKind h264Pack(int type) {
  switch (type) {
    case H264E_NALU_BSLICE: return {"B", false};
    case H264E_NALU_PSLICE: return {"P", false};
    case H264E_NALU_ISLICE: return {"I", true};
    case H264E_NALU_IDRSLICE: return {"IDR", true};
    case H264E_NALU_SEI: return {"SEI", false};
    case H264E_NALU_SPS: return {"SPS", false};
    case H264E_NALU_PPS: return {"PPS", false};
    default: return {nullptr, false};
  }
}

PackKind h265Pack(int type) {
  switch (type) {
    case H265E_NALU_BSLICE: return {"B", false};
    case H265E_NALU_PSLICE: return {"P", false};
    case H265E_NALU_ISLICE: return {"I", true};
    case H265E_NALU_IDRSLICE: return {"IDR", true};
    case H265E_NALU_VPS: return {"VPS", false};
    case H265E_NALU_SPS: return {"SPS", false};
    case H265E_NALU_PPS: return {"PPS", false};
    case H265E_NALU_SEI: return {"SEI", false};
    default: return {nullptr, false};
  }
}

PackKind jpegPack(int type) {
  switch (type) {
    case JPEGE_PACK_ECS: return {"ECS", true};
    case JPEGE_PACK_APP: return {"APP", true};
    case JPEGE_PACK_VDO: return {"VDO", true};
    case JPEGE_PACK_PIC: return {"PIC", true};
    default: return {nullptr, true};
  }
}

PackKind unnamedPack(int) { return {nullptr, false}; }

PackKinds packKindsOf(PAYLOAD_TYPE_E payload) {
  switch (payload) {
    case PT_H264: return &h264Pack;
    case PT_H265: return &h265Pack;
    case PT_JPEG:
    case PT_MJPEG: return &jpegPack;
    default: return &unnamedPack;
  }
}

void vencPack(const void* packs, std::uint32_t i, StreamPack* out) {
  const VENC_PACK_S& p = static_cast<const VENC_PACK_S*>(packs)[i];
  out->data = p.pu8Addr + p.u32Offset;
  out->length = p.u32Len > p.u32Offset ? p.u32Len - p.u32Offset : 0;
  out->pts = p.u64PTS;
  std::memcpy(&out->type, &p.DataType, sizeof out->type);  // every member is a 32-bit enumeration
  out->frameEnd = p.bFrameEnd != HI_FALSE;
}

// Packs of a picture that fit on the C stack; a picture with more goes into
// a Lua userdata.
constexpr HI_U32 kLocalPacks = 16;

VENC_PACK_S* packArray(lua_State* L, VENC_PACK_S* local, HI_U32 count) {
  if (count <= kLocalPacks) return local;
  return static_cast<VENC_PACK_S*>(lua_newuserdata(L, sizeof(VENC_PACK_S) * count));
}

constexpr char kStreamFail[] = "Fail to get VENC stream";

template <class T>
int getVia(lua_State* L, const char* func, int line, const char* text, VENC_CHN chn,
           HI_S32 (*fn)(VENC_CHN, T*)) {
  return getAsTable<T>(L, func, line, text, [&](T* p) { return fn(chn, p); });
}

}  // namespace

// Create(attrs): attrs is the last value on the stack, so that
// VENC.CreateChannel can hand over its own argument.
int VENCChannel::Create(lua_State* L) {
  int top = lua_gettop(L);
  if (lua_type(L, top) != LUA_TTABLE)
    return TESSEL_FAIL(L, "Invalid attributes for creating VENC channel!");
  VENC_CHN_ATTR_S attr;
  if (!readArg(L, top, &attr, __func__, __LINE__)) return 2;
  HI_S32 rc = HI_MPI_VENC_CreateChn(m_chnId, &attr);
  if (rc == HI_SUCCESS) m_created = true;
  m_packKinds = nullptr;
  return pushStatus(L, rc, "Fail to create VENC channel", __func__, __LINE__);
}

int VENCChannel::Destroy() {
  if (!m_created) return 0;
  m_created = false;
  m_packKinds = nullptr;
  return HI_MPI_VENC_DestroyChn(m_chnId);
}

int VENCChannel::StartEx(int pictures) {
  VENC_RECV_PIC_PARAM_S param = {pictures};
  return HI_MPI_VENC_StartRecvPicEx(m_chnId, &param);
}

int VENCChannel::Query(lua_State* L) {
  return getVia(L, __func__, __LINE__, "Fail to query VENC channel status", m_chnId, &HI_MPI_VENC_Query);
}

int VENCChannel::SetAttr(lua_State* L) {
  m_packKinds = nullptr;
  return setVia(L, __func__, __LINE__, "Fail to set VENC channel attributes", m_chnId,
                &HI_MPI_VENC_SetChnAttr);
}

int VENCChannel::GetAttr(lua_State* L) {
  return getVia(L, __func__, __LINE__, "Fail to get VENC channel attributes", m_chnId,
                &HI_MPI_VENC_GetChnAttr);
}

// The whole Lua string goes to the platform, zero bytes included.
int VENCChannel::InsertUserData(lua_State* L) {
  if (lua_type(L, 2) != LUA_TSTRING) return TESSEL_FAIL(L, "Invalid user data");
  size_t length = 0;
  const char* bytes = lua_tolstring(L, 2, &length);
  HI_S32 rc = HI_MPI_VENC_InsertUserData(m_chnId, reinterpret_cast<HI_U8*>(const_cast<char*>(bytes)),
                                         static_cast<HI_U32>(length));
  return pushStatus(L, rc, "Fail to insert VENC user data", __func__, __LINE__);
}

// The count on success, the platform's code otherwise.
int VENCChannel::GetMaxStreamCnt() {
  HI_U32 count = 0;
  HI_S32 rc = HI_MPI_VENC_GetMaxStreamCnt(m_chnId, &count);
  return rc == HI_SUCCESS ? static_cast<int>(count) : rc;
}

// RequestIDR([instant])
int VENCChannel::RequestIDR(lua_State* L) {
  HI_BOOL instant = flagArg(L, 2) ? HI_TRUE : HI_FALSE;
  return pushStatus(L, HI_MPI_VENC_RequestIDR(m_chnId, instant), "Fail to request IDR", __func__, __LINE__);
}

// GetStream([timeout]): the stream is held only between GetStream and
// ReleaseStream, and what runs in between either cannot raise or runs under
// copyStream's protected call.
int VENCChannel::GetStream(lua_State* L) {
  HI_S32 timeout = timeoutArg(L, 2);
  if (!m_packKinds) {
    VENC_CHN_ATTR_S attr;
    std::memset(&attr, 0, sizeof attr);
    HI_S32 rc = HI_MPI_VENC_GetChnAttr(m_chnId, &attr);
    if (rc != HI_SUCCESS) return TESSEL_FAIL_CODE(L, kStreamFail, rc);
    m_packKinds = packKindsOf(attr.stVeAttr.enType);
  }
  VENC_CHN_STAT_S stat;
  std::memset(&stat, 0, sizeof stat);
  HI_S32 rc = HI_MPI_VENC_Query(m_chnId, &stat);
  if (rc != HI_SUCCESS) return TESSEL_FAIL_CODE(L, kStreamFail, rc);

  // With no picture waiting, its number of packs is a guess; a picture with
  // more packs arriving meanwhile is refused by the platform, and then taken
  // with the number it has.
  VENC_PACK_S local[kLocalPacks];
  VENC_STREAM_S stream;
  std::memset(&stream, 0, sizeof stream);
  const bool guessed = stat.u32CurPacks == 0;
  stream.u32PackCount = guessed ? kLocalPacks : stat.u32CurPacks;
  stream.pstPack = packArray(L, local, stream.u32PackCount);
  rc = HI_MPI_VENC_GetStream(m_chnId, &stream, timeout);
  if (rc != HI_SUCCESS && guessed && rc != HI_ERR_VENC_BUF_EMPTY &&
      HI_MPI_VENC_Query(m_chnId, &stat) == HI_SUCCESS && stat.u32CurPacks > stream.u32PackCount) {
    stream.u32PackCount = stat.u32CurPacks;
    stream.pstPack = packArray(L, local, stream.u32PackCount);
    rc = HI_MPI_VENC_GetStream(m_chnId, &stream, 0);
  }
  if (rc != HI_SUCCESS) return TESSEL_FAIL_CODE(L, kStreamFail, rc);

  StreamView view{stream.pstPack, stream.u32PackCount, &vencPack, m_packKinds, stream.u32Seq};
  int built = copyStream(L, view);
  HI_S32 released = HI_MPI_VENC_ReleaseStream(m_chnId, &stream);
  if (built != LUA_OK) return lua_error(L);
  if (released != HI_SUCCESS) return TESSEL_FAIL_CODE(L, "Fail to release VENC stream", released);
  return 2;
}

int VENCChannel::SendFrame(lua_State* L) {
  return sendFrame(L, HI_ERR_VENC_NULL_PTR, [&](VIDEO_FRAME_INFO_S* frame, HI_S32 timeout) {
    return HI_MPI_VENC_SendFrame(m_chnId, frame, timeout);
  });
}

// SetH264IdrPicId("AUTO" | "USER" | "USR" | raw mode [, id])
int VENCChannel::SetH264IdrPicId(lua_State* L) {
  VENC_H264_IDRPICID_CFG_S cfg = {H264E_IDR_PIC_ID_MODE_AUTO, 0};
  if (lua_type(L, 2) == LUA_TNUMBER) {
    cfg.enH264eIdrPicIdMode = static_cast<H264E_IDR_PIC_ID_MODE_E>(luaL_checkinteger(L, 2));
  } else if (lua_type(L, 2) == LUA_TSTRING) {
    const char* mode = lua_tostring(L, 2);
    if (strcasecmp(mode, "AUTO") == 0) cfg.enH264eIdrPicIdMode = H264E_IDR_PIC_ID_MODE_AUTO;
    else if (strcasecmp(mode, "USER") == 0 || strcasecmp(mode, "USR") == 0)
      cfg.enH264eIdrPicIdMode = H264E_IDR_PIC_ID_MODE_USR;
    else return TESSEL_FAIL(L, "Invalid VENC idr_pic_id mode");
  } else {
    return TESSEL_FAIL(L, "Invalid VENC idr_pic_id mode");
  }
  if (lua_type(L, 3) == LUA_TNUMBER) cfg.u32H264eIdrPicId = static_cast<HI_U32>(luaL_checkinteger(L, 3));
  return pushStatus(L, HI_MPI_VENC_SetH264IdrPicId(m_chnId, &cfg), "Fail to set VENC idr_pic_id",
               __func__, __LINE__);
}

// Answers "USR" or "AUTO", and the picture id.
int VENCChannel::GetH264IdrPicId(lua_State* L) {
  VENC_H264_IDRPICID_CFG_S cfg = {H264E_IDR_PIC_ID_MODE_AUTO, 0};
  HI_S32 rc = HI_MPI_VENC_GetH264IdrPicId(m_chnId, &cfg);
  if (rc != HI_SUCCESS) return TESSEL_FAIL_CODE(L, "Fail to get VENC idr_pic_id", rc);
  lua_pushstring(L, cfg.enH264eIdrPicIdMode != H264E_IDR_PIC_ID_MODE_AUTO ? "USR" : "AUTO");
  lua_pushinteger(L, cfg.u32H264eIdrPicId);
  return 2;
}

int VENCChannel::SetRoiCfg(lua_State* L) {
  return setVia(L, __func__, __LINE__, "Fail to set VENC channel ROI config", m_chnId, &HI_MPI_VENC_SetRoiCfg);
}

// GetRoiCfg(index): only a Lua number is an index, and a fraction is an
// argument error; the platform judges the range.
int VENCChannel::GetRoiCfg(lua_State* L) {
  if (lua_type(L, 2) != LUA_TNUMBER) return TESSEL_FAIL(L, "Invalid ROI index");
  HI_U32 index = static_cast<HI_U32>(luaL_checkinteger(L, 2));
  return getAsTable<VENC_ROI_CFG_S>(L, __func__, __LINE__, "Fail to get VENC channel ROI config",
      [&](VENC_ROI_CFG_S* p) { return HI_MPI_VENC_GetRoiCfg(m_chnId, index, p); });
}

int VENCChannel::SetRoiBgFrameRate(lua_State* L) {
  return setVia(L, __func__, __LINE__, "Fail to set VENC channel ROI background frame-rate", m_chnId,
                &HI_MPI_VENC_SetRoiBgFrameRate);
}

int VENCChannel::GetRoiBgFrameRate(lua_State* L) {
  return getVia(L, __func__, __LINE__, "Fail to get VENC channel ROI backgroup frame-rate", m_chnId,
                &HI_MPI_VENC_GetRoiBgFrameRate);
}

int VENCChannel::SetH264SliceSplit(lua_State* L) {
  return setVia(L, __func__, __LINE__, "Fail to set VENC channel H264 slice split", m_chnId,
                &HI_MPI_VENC_SetH264SliceSplit);
}

int VENCChannel::GetH264SliceSplit(lua_State* L) {
  return getVia(L, __func__, __LINE__, "Fail to get VENC channel H264 slice split", m_chnId,
                &HI_MPI_VENC_GetH264SliceSplit);
}

int VENCChannel::SetH264InterPred(lua_State* L) {
  return setVia(L, __func__, __LINE__, "Fail to set VENC channel H264 interpred", m_chnId,
                &HI_MPI_VENC_SetH264InterPred);
}

int VENCChannel::GetH264InterPred(lua_State* L) {
  return getVia(L, __func__, __LINE__, "Fail to get VENC channel H264 interpred", m_chnId,
                &HI_MPI_VENC_GetH264InterPred);
}

int VENCChannel::SetH264IntraPred(lua_State* L) {
  return setVia(L, __func__, __LINE__, "Fail to set VENC channel H264 intrapred", m_chnId,
                &HI_MPI_VENC_SetH264IntraPred);
}

int VENCChannel::GetH264IntraPred(lua_State* L) {
  return getVia(L, __func__, __LINE__, "Fail to get VENC channel H264 intrapred", m_chnId,
                &HI_MPI_VENC_GetH264IntraPred);
}

int VENCChannel::SetH264Dblk(lua_State* L) {
  return setVia(L, __func__, __LINE__, "Fail to set VENC channel H264 de-block", m_chnId,
                &HI_MPI_VENC_SetH264Dblk);
}

int VENCChannel::GetH264Dblk(lua_State* L) {
  return getVia(L, __func__, __LINE__, "Fail to get VENC channel H264 de-block", m_chnId,
                &HI_MPI_VENC_GetH264Dblk);
}

int VENCChannel::SetFrameRate(lua_State* L) {
  return setVia(L, __func__, __LINE__, "Fail to set VENC channel frame-rate", m_chnId,
                &HI_MPI_VENC_SetFrameRate);
}

int VENCChannel::GetFrameRate(lua_State* L) {
  return getVia(L, __func__, __LINE__, "Fail to get VENC channel frame-rate", m_chnId,
                &HI_MPI_VENC_GetFrameRate);
}

int VENCChannel::SetRefParam(lua_State* L) {
  return setVia(L, __func__, __LINE__, "Fail to set VENC channel ref parameters", m_chnId,
                &HI_MPI_VENC_SetRefParam);
}

int VENCChannel::GetRefParam(lua_State* L) {
  return getVia(L, __func__, __LINE__, "Fail to get VENC channel ref parameters", m_chnId,
                &HI_MPI_VENC_GetRefParam);
}

int VENCChannel::SetColor2Grey(bool on) {
  VENC_COLOR2GREY_S grey = {on ? HI_TRUE : HI_FALSE};
  return HI_MPI_VENC_SetColor2Grey(m_chnId, &grey);
}

// A failed call reads as "off".
bool VENCChannel::GetColor2Grey() {
  VENC_COLOR2GREY_S grey = {HI_FALSE};
  return HI_MPI_VENC_GetColor2Grey(m_chnId, &grey) == HI_SUCCESS && grey.bColor2Grey;
}

// SetCrop(enable, rect): a false flag disables cropping and ignores rect.
int VENCChannel::SetCrop(lua_State* L) {
  VENC_CROP_CFG_S crop;
  std::memset(&crop, 0, sizeof crop);
  if (flagArg(L, 2)) {
    crop.bEnable = HI_TRUE;
    if (!readArg(L, 3, &crop.stRect, __func__, __LINE__)) return 2;
  }
  return pushStatus(L, HI_MPI_VENC_SetCrop(m_chnId, &crop), "Fail to set VENC channel crop", __func__, __LINE__);
}

// Answers enabled and the rectangle.
int VENCChannel::GetCrop(lua_State* L) {
  VENC_CROP_CFG_S crop;
  std::memset(&crop, 0, sizeof crop);
  HI_S32 rc = HI_MPI_VENC_GetCrop(m_chnId, &crop);
  if (rc != HI_SUCCESS) return TESSEL_FAIL_CODE(L, "fail to get VENC channel crop", rc);
  lua_pushboolean(L, crop.bEnable);
  push(L, crop.stRect);
  return 2;
}

int VENCChannel::SetFrameLostStrategy(lua_State* L) {
  return setVia(L, __func__, __LINE__, "Fail to set VENC channel frame-lost strategy", m_chnId,
                &HI_MPI_VENC_SetFrameLostStrategy);
}

int VENCChannel::GetFrameLostStrategy(lua_State* L) {
  return getVia(L, __func__, __LINE__, "fail to get VENC channel frame-lost strategy", m_chnId,
                &HI_MPI_VENC_GetFrameLostStrategy);
}

// Rate-control priority is not available on this platform build.
int VENCChannel::Unsupported(lua_State* L) { return pushRefusal(L, "Unsupport feature"); }

}  // namespace Tessel
