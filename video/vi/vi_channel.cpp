// VIChannel: one capture channel, and the table forms of its structures.
#include "frame/methods.h"
#include "frame/video_frame.h"
#include "video/vi/vi.h"

namespace Tessel {
namespace {

// Unknown names and other types store the value after the last row; values
// without a row read back as nil.
const EnumRow kCapSelRows[] = {{VI_CAPSEL_TOP, "TOP", kBoth}, {VI_CAPSEL_BOTTOM, "BOTTOM", kBoth},
                               {VI_CAPSEL_BOTH, "BOTH", kBoth}};
const EnumDesc kCapSels = {kCapSelRows, 3, Miss::Value, VI_CAPSEL_BUTT, nullptr,
                           Miss::Value, VI_CAPSEL_BUTT, nullptr, nullptr};

const EnumRow kScanModeRows[] = {{VI_SCAN_INTERLACED, "INTERLACED", kBoth},
                                 {VI_SCAN_PROGRESSIVE, "PROGRESSIVE", kBoth}};
const EnumDesc kScanModes = {kScanModeRows, 2, Miss::Value, VI_SCAN_BUTT, nullptr,
                             Miss::Value, VI_SCAN_BUTT, nullptr, nullptr};

const EnumRow kSkipModeRows[] = {{VI_SKIP_NONE, "NONE", kBoth}, {VI_SKIP_NONE, "NO", kInOnly},
                                 {VI_SKIP_YES, "YES", kBoth}, {VI_SKIP_4TO2, "4TO2", kBoth}};
const EnumDesc kSkipModes = {kSkipModeRows, 4, Miss::Value, VI_SKIP_BUTT, nullptr,
                             Miss::Throw, 0, "Invalid skip mode", nullptr};

// Setter of the channel attribute tables (main and minor).
int setChnAttr(lua_State* L, const char* func, int line, VI_CHN chn,
               HI_S32 (*fn)(VI_CHN, const VI_CHN_ATTR_S*)) {
  if (lua_type(L, 2) != LUA_TTABLE) return pushFailure(L, "Invalid attrs", func, line);
  VI_CHN_ATTR_S attr;
  try {
    read(L, 2, &attr);
  } catch (MPPConvException&) {
    return pushFailure(L, "Attributes parse error", func, line);
  }
  return pushStatus(L, fn(chn, &attr), "Set channel attributes fail", func, line);
}

// Getter of the channel attribute tables: a failure of any kind answers a
// single nil; a conversion failure also writes a diagnostic line under
// reporter.
int getChnAttr(lua_State* L, const char* reporter, VI_CHN chn, HI_S32 (*fn)(VI_CHN, VI_CHN_ATTR_S*)) {
  VI_CHN_ATTR_S attr;
  std::memset(&attr, 0, sizeof attr);
  if (fn(chn, &attr) != HI_SUCCESS) {
    lua_pushnil(L);
    return 1;
  }
  int top = lua_gettop(L);
  try {
    push(L, attr);
    return 1;
  } catch (MPPConvException& e) {
    TESSEL_DIAG_AS(reporter, "Conversion VI_CHN_ATTR_S to lua table fail! ERROR: " << e.m_msg);
  } catch (...) {
    TESSEL_DIAG_AS(reporter, "Conversion VI_CHN_ATTR_S to lua table fail!");
  }
  lua_settop(L, top);
  lua_pushnil(L);
  return 1;
}

HI_S32 releaseFrame(int, int chn, VIDEO_FRAME_INFO_S* frame) { return HI_MPI_VI_ReleaseFrame(chn, frame); }

}  // namespace

void VIChannel::Destroy() {
  if (!m_enabled) return;
  HI_MPI_VI_DisableChn(m_chnId);
  m_enabled = false;
}

int VIChannel::SetAttr(lua_State* L) { return setChnAttr(L, __func__, __LINE__, m_chnId, &HI_MPI_VI_SetChnAttr); }

// Its diagnostic line names "Query", as it always has.
int VIChannel::GetAttr(lua_State* L) { return getChnAttr(L, "Query", m_chnId, &HI_MPI_VI_GetChnAttr); }

int VIChannel::SetMinorAttr(lua_State* L) {
  return setChnAttr(L, __func__, __LINE__, m_chnId, &HI_MPI_VI_SetChnMinorAttr);
}

int VIChannel::GetMinorAttr(lua_State* L) { return getChnAttr(L, __func__, m_chnId, &HI_MPI_VI_GetChnMinorAttr); }

int VIChannel::SetSkipMode(lua_State* L) {
  VI_SKIP_MODE_E mode;
  if (!readArg(L, 2, &mode, __func__, __LINE__)) return 2;
  return pushStatus(L, HI_MPI_VI_SetSkipMode(m_chnId, mode), "Fail to set skip mode", __func__, __LINE__);
}

// The mode's name (nil for a value without one); a failure carries no code.
int VIChannel::GetSkipMode(lua_State* L) {
  VI_SKIP_MODE_E mode = VI_SKIP_NONE;
  if (HI_MPI_VI_GetSkipMode(m_chnId, &mode) != HI_SUCCESS) return TESSEL_FAIL(L, "Fail to get skip mode");
  push(L, mode);
  return 1;
}

// The depth, or the platform's code when it fails.
int VIChannel::GetFrameDepth() {
  HI_U32 depth = 0;
  HI_S32 rc = HI_MPI_VI_GetFrameDepth(m_chnId, &depth);
  return rc == HI_SUCCESS ? static_cast<int>(depth) : rc;
}

int VIChannel::GetFrame(lua_State* L) {
  HI_S32 timeout = timeoutArg(L, 2);
  return pushLentFrame(L, FrameLender{&releaseFrame, m_devId, m_chnId}, "Fail to get VI frame", __func__,
                       __LINE__, [&](VIDEO_FRAME_INFO_S* frame) { return HI_MPI_VI_GetFrame(m_chnId, frame, timeout); });
}

// Only the background colour is taken; the picture mode and everything else
// stay zero.
int VIChannel::SetUserPic(lua_State* L) {
  if (lua_type(L, 2) != LUA_TTABLE) return TESSEL_FAIL(L, "Invalid attrs");
  VI_USERPIC_ATTR_S pic;
  std::memset(&pic, 0, sizeof pic);
  lua_Integer color = 0;
  if (getInteger(L, 2, "u32BgColor", &color)) pic.unUsrPic.stUsrPicBg.u32BgColor = static_cast<HI_U32>(color);
  return pushStatus(L, HI_MPI_VI_SetUserPic(m_chnId, &pic), "Set Usr Pic Bg fail", __func__, __LINE__);
}

// Not offered: a single nil.
int VIChannel::GetLuma(lua_State* L) {
  lua_pushnil(L);
  return 1;
}

int VIChannel::Query(lua_State* L) {
  return getAsTable<VI_CHN_STAT_S>(L, __func__, __LINE__, "Fail to query channel status",
                                   [&](VI_CHN_STAT_S* p) { return HI_MPI_VI_Query(m_chnId, p); });
}

// Up to 3 the argument is the platform's rotation code; 4 to 270 are degrees
// taken up to the next quarter turn; above 270 nothing is asked. 1 when the
// platform took it, -1 otherwise.
int VIChannel::SetRotate(int degrees) {
  int code;
  if (degrees <= 3) code = degrees;
  else if (degrees <= 90) code = ROTATE_90;
  else if (degrees <= 180) code = ROTATE_180;
  else if (degrees <= 270) code = ROTATE_270;
  else return -1;
  return HI_MPI_VI_SetRotate(m_chnId, static_cast<ROTATE_E>(code)) == HI_SUCCESS ? 1 : -1;
}

// The value read; a failure is not reported (the value then stays 0).
int VIChannel::GetRotate() {
  ROTATE_E rotate = ROTATE_NONE;
  HI_MPI_VI_GetRotate(m_chnId, &rotate);
  return static_cast<int>(rotate);
}

}  // namespace Tessel

TESSEL_ENUM(VI_CAPSEL_E, kCapSels)
TESSEL_ENUM(VI_SCAN_MODE_E, kScanModes)
TESSEL_ENUM(VI_SKIP_MODE_E, kSkipModes)
TESSEL_STRUCT(VI_CHN_ATTR_S, F(stCapRect), F(stDestSize), F(enCapSel), F(enScanMode), F(enPixFormat), F(bMirror),
              F(bFlip), F(s32SrcFrameRate), F(s32DstFrameRate))
// The platform's CC error count is not part of the table form.
TESSEL_STRUCT(VI_CHN_STAT_S, F(bEnable), F(u32IntCnt), F(u32FrmRate), F(u32LostInt), F(u32VbFail), F(u32PicWidth),
              F(u32PicHeight), F(u32AutoDisInt))
