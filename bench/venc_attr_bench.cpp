// Encoder channel attributes: VENCChannel:SetAttr plus GetAttr of an H.264
// CBR table, against hand-written Lua C API code (lua_getfield/lua_setfield)
// converting the same structure, side by side in one run.
//
// Both sides call the same two platform functions, defined here as cheap
// stand-ins that keep the structure in memory, so that the comparison is of
// the conversions and the binding, not of the simulator's journal.
#include <cstdio>
#include <cstring>
#include <strings.h>

#include "platform/mpp.h"

#include "bench.h"
#include "frame/channel.h"
#include "frame/modules.h"

namespace {
VENC_CHN_ATTR_S g_stored;
volatile int g_sink;
}  // namespace

extern "C" HI_S32 HI_MPI_VENC_SetChnAttr(VENC_CHN chn, const VENC_CHN_ATTR_S* attr) {
  g_stored = *attr;
  g_sink = chn;
  return HI_SUCCESS;
}

extern "C" HI_S32 HI_MPI_VENC_GetChnAttr(VENC_CHN chn, VENC_CHN_ATTR_S* attr) {
  *attr = g_stored;
  g_sink = chn;
  return HI_SUCCESS;
}

namespace {

// ---- the hand-written conversion --------------------------------------------

struct HandChannel {
  int chn;
};

struct Name {
  int value;
  const char* name;
};

const Name kPayloads[] = {{PT_H264, "H264"}, {PT_H265, "H265"}, {PT_JPEG, "JPEG"}, {PT_MJPEG, "MJPEG"}};
const Name kModes[] = {
    {VENC_RC_MODE_H264CBR, "H264CBR"},     {VENC_RC_MODE_H264VBR, "H264VBR"},
    {VENC_RC_MODE_H264AVBR, "H264AVBR"},   {VENC_RC_MODE_H264FIXQP, "H264FIXQP"},
    {VENC_RC_MODE_MJPEGCBR, "MJPEGCBR"},   {VENC_RC_MODE_MJPEGVBR, "MJPEGVBR"},
    {VENC_RC_MODE_MJPEGFIXQP, "MJPEGFIXQP"}, {VENC_RC_MODE_H265CBR, "H265CBR"},
    {VENC_RC_MODE_H265VBR, "H265VBR"},     {VENC_RC_MODE_H265AVBR, "H265AVBR"},
    {VENC_RC_MODE_H265FIXQP, "H265FIXQP"},
};

template <std::size_t N>
int valueOf(const Name (&names)[N], const char* s) {
  for (const Name& n : names)
    if (strcasecmp(n.name, s) == 0) return n.value;
  return -1;
}

template <std::size_t N>
const char* nameOf(const Name (&names)[N], int v) {
  for (const Name& n : names)
    if (n.value == v) return n.name;
  return "invalid";
}

void readU32(lua_State* L, int t, const char* key, HI_U32* out) {
  if (lua_getfield(L, t, key) == LUA_TNUMBER) *out = static_cast<HI_U32>(lua_tointeger(L, -1));
  lua_pop(L, 1);
}

void readBool(lua_State* L, int t, const char* key, HI_BOOL* out) {
  int type = lua_getfield(L, t, key);
  if (type == LUA_TBOOLEAN) *out = lua_toboolean(L, -1) ? HI_TRUE : HI_FALSE;
  else if (type == LUA_TNUMBER) *out = static_cast<HI_BOOL>(lua_tointeger(L, -1));
  lua_pop(L, 1);
}

// Reads selector key of the table at t (a name or a number); -1 when neither.
template <std::size_t N>
int readSelector(lua_State* L, int t, const char* key, const Name (&names)[N]) {
  int v = -1;
  int type = lua_getfield(L, t, key);
  if (type == LUA_TNUMBER) v = static_cast<int>(lua_tointeger(L, -1));
  else if (type == LUA_TSTRING) v = valueOf(names, lua_tostring(L, -1));
  lua_pop(L, 1);
  return v;
}

int handSetAttr(lua_State* L) {
  auto* h = static_cast<HandChannel*>(luaL_checkudata(L, 1, "HandVenc"));
  if (!lua_istable(L, 2)) {
    lua_pushnil(L);
    lua_pushstring(L, "Invalid VENC channel attributes");
    return 2;
  }
  VENC_CHN_ATTR_S attr;
  std::memset(&attr, 0, sizeof attr);
  if (lua_getfield(L, 2, "encoding") == LUA_TTABLE) {
    int enc = lua_gettop(L);
    int type = readSelector(L, enc, "type", kPayloads);
    if (type >= 0) attr.stVeAttr.enType = static_cast<PAYLOAD_TYPE_E>(type);
    if (type == PT_H264 && lua_getfield(L, enc, "attr") == LUA_TTABLE) {
      int t = lua_gettop(L);
      VENC_ATTR_H264_S& a = attr.stVeAttr.stAttrH264e;
      readU32(L, t, "u32MaxPicWidth", &a.u32MaxPicWidth);
      readU32(L, t, "u32MaxPicHeight", &a.u32MaxPicHeight);
      readU32(L, t, "u32BufSize", &a.u32BufSize);
      readU32(L, t, "u32Profile", &a.u32Profile);
      readBool(L, t, "bByFrame", &a.bByFrame);
      readU32(L, t, "u32PicWidth", &a.u32PicWidth);
      readU32(L, t, "u32PicHeight", &a.u32PicHeight);
    }
  }
  lua_settop(L, 2);
  if (lua_getfield(L, 2, "bitrate") == LUA_TTABLE) {
    int rc = lua_gettop(L);
    int mode = readSelector(L, rc, "mode", kModes);
    if (mode >= 0) attr.stRcAttr.enRcMode = static_cast<VENC_RC_MODE_E>(mode);
    if (mode == VENC_RC_MODE_H264CBR && lua_getfield(L, rc, "attr") == LUA_TTABLE) {
      int t = lua_gettop(L);
      VENC_ATTR_H264_CBR_S& c = attr.stRcAttr.stAttrH264Cbr;
      readU32(L, t, "u32Gop", &c.u32Gop);
      readU32(L, t, "u32StatTime", &c.u32StatTime);
      readU32(L, t, "u32SrcFrmRate", &c.u32SrcFrmRate);
      readU32(L, t, "fr32DstFrmRate", &c.fr32DstFrmRate);
      readU32(L, t, "u32BitRate", &c.u32BitRate);
      readU32(L, t, "u32FluctuateLevel", &c.u32FluctuateLevel);
    }
  }
  lua_settop(L, 2);
  HI_S32 rc = HI_MPI_VENC_SetChnAttr(h->chn, &attr);
  if (rc != HI_SUCCESS) {
    char msg[128];
    std::snprintf(msg, sizeof msg, "Fail to set VENC channel attributes [@SetAttr: line %d - error=%08X]",
                  __LINE__, static_cast<unsigned>(rc));
    lua_pushnil(L);
    lua_pushstring(L, msg);
    return 2;
  }
  lua_pushboolean(L, 1);
  return 1;
}

void setInteger(lua_State* L, const char* key, lua_Integer v) {
  lua_pushinteger(L, v);
  lua_setfield(L, -2, key);
}

int handGetAttr(lua_State* L) {
  auto* h = static_cast<HandChannel*>(luaL_checkudata(L, 1, "HandVenc"));
  VENC_CHN_ATTR_S attr;
  std::memset(&attr, 0, sizeof attr);
  HI_S32 rc = HI_MPI_VENC_GetChnAttr(h->chn, &attr);
  if (rc != HI_SUCCESS) {
    lua_pushnil(L);
    lua_pushstring(L, "Fail to get VENC channel attributes");
    return 2;
  }
  lua_createtable(L, 0, 2);
  lua_createtable(L, 0, 2);
  lua_pushstring(L, nameOf(kPayloads, attr.stVeAttr.enType));
  lua_setfield(L, -2, "type");
  if (attr.stVeAttr.enType == PT_H264) {
    const VENC_ATTR_H264_S& a = attr.stVeAttr.stAttrH264e;
    lua_createtable(L, 0, 7);
    setInteger(L, "u32MaxPicWidth", a.u32MaxPicWidth);
    setInteger(L, "u32MaxPicHeight", a.u32MaxPicHeight);
    setInteger(L, "u32BufSize", a.u32BufSize);
    setInteger(L, "u32Profile", a.u32Profile);
    lua_pushboolean(L, a.bByFrame);
    lua_setfield(L, -2, "bByFrame");
    setInteger(L, "u32PicWidth", a.u32PicWidth);
    setInteger(L, "u32PicHeight", a.u32PicHeight);
    lua_setfield(L, -2, "attr");
  }
  lua_setfield(L, -2, "encoding");
  lua_createtable(L, 0, 2);
  lua_pushstring(L, nameOf(kModes, attr.stRcAttr.enRcMode));
  lua_setfield(L, -2, "mode");
  if (attr.stRcAttr.enRcMode == VENC_RC_MODE_H264CBR) {
    const VENC_ATTR_H264_CBR_S& c = attr.stRcAttr.stAttrH264Cbr;
    lua_createtable(L, 0, 6);
    setInteger(L, "u32Gop", c.u32Gop);
    setInteger(L, "u32StatTime", c.u32StatTime);
    setInteger(L, "u32SrcFrmRate", c.u32SrcFrmRate);
    setInteger(L, "fr32DstFrmRate ", c.fr32DstFrmRate);
    setInteger(L, "u32BitRate", c.u32BitRate);
    setInteger(L, "u32FluctuateLevel", c.u32FluctuateLevel);
    lua_setfield(L, -2, "attr");
  }
  lua_setfield(L, -2, "bitrate");
  return 1;
}

void registerHand(lua_State* L) {
  luaL_newmetatable(L, "HandVenc");
  lua_createtable(L, 0, 2);
  lua_pushcfunction(L, &handSetAttr);
  lua_setfield(L, -2, "SetAttr");
  lua_pushcfunction(L, &handGetAttr);
  lua_setfield(L, -2, "GetAttr");
  lua_setfield(L, -2, "__index");
  lua_pop(L, 1);
  auto* h = static_cast<HandChannel*>(lua_newuserdata(L, sizeof(HandChannel)));
  h->chn = 0;
  luaL_setmetatable(L, "HandVenc");
  lua_setglobal(L, "hand");
}

const char* const kSetup = R"(
  attrs = {
    encoding = { type = "H264", attr = { u32MaxPicWidth = 1920, u32MaxPicHeight = 1080,
      u32BufSize = 1920 * 1080 * 2, u32Profile = 1, bByFrame = true, u32PicWidth = 1920, u32PicHeight = 1080 } },
    bitrate = { mode = "H264CBR", attr = { u32Gop = 30, u32StatTime = 1, u32SrcFrmRate = 30,
      fr32DstFrmRate = 30, u32BitRate = 4096, u32FluctuateLevel = 1 } },
  }
  ours = Tessel.VENC.GetChannel(0)
  -- Both sides must read back the same table.
  assert(ours:SetAttr(attrs) and hand:SetAttr(attrs))
  local a, b = ours:GetAttr(), hand:GetAttr()
  for _, part in ipairs({ "encoding", "bitrate" }) do
    for k, v in pairs(a[part].attr) do assert(b[part].attr[k] == v, k) end
    for k, v in pairs(b[part].attr) do assert(a[part].attr[k] == v, k) end
    assert(a.encoding.type == b.encoding.type and a.bitrate.mode == b.bitrate.mode)
  end
)";

}  // namespace

int main() {
  lua_State* L = luaL_newstate();
  luaL_openlibs(L);
  Tessel::registerChannelBase(L);
  Tessel::VENC_Register(L);
  registerHand(L);
  if (luaL_dostring(L, kSetup) != LUA_OK) {
    std::fprintf(stderr, "venc_attr_bench: %s\n", lua_tostring(L, -1));
    return 1;
  }
  const lua_Integer n = 200000;
  std::printf("encoder channel attributes, per SetAttr + GetAttr (median of alternating runs):\n");
  bool ok = bench::report("H.264 CBR  chn:SetAttr(t) chn:GetAttr()",
                          bench::compare(L, "local c, t = ours, attrs for i = 1, n do c:SetAttr(t) c:GetAttr() end",
                                         "local c, t = hand, attrs for i = 1, n do c:SetAttr(t) c:GetAttr() end", n),
                          1.3);
  // The two directions apart, for reference (no target of their own).
  const struct {
    const char* what;
    const char* ours;
    const char* theirs;
  } parts[] = {
      {"  of which chn:SetAttr(t)", "local c, t = ours, attrs for i = 1, n do c:SetAttr(t) end",
       "local c, t = hand, attrs for i = 1, n do c:SetAttr(t) end"},
      {"  of which chn:GetAttr()", "local c = ours for i = 1, n do c:GetAttr() end",
       "local c = hand for i = 1, n do c:GetAttr() end"},
  };
  for (const auto& p : parts) {
    bench::Result r = bench::compare(L, p.ours, p.theirs, n);
    std::printf("%-44s tessel %7.1f ns  hand-written %7.1f ns  ratio %.2f\n", p.what, r.ours, r.theirs,
                r.ratio());
  }
  lua_close(L);
  return ok ? 0 : 1;
}
