// Module class SYS and the base class of every channel, "MPPChannel".
#include "sys/sys.h"

#include <cstring>

#include "platform/mpp.h"

#include "frame/binding.h"
#include "frame/common_types.h"
#include "frame/convert.h"
#include "frame/errors.h"
#include "frame/modules.h"
#include "frame/video_frame.h"
#include "sys/id_table.h"

namespace Tessel {

namespace {

const IdName kModules[] = {
    {0, "CMPI"},    {1, "VB"},       {2, "SYS"},      {3, "RGN"},     {4, "CHNL"},
    {5, "VDEC"},    {6, "GROUP"},    {7, "VPSS"},     {8, "VENC"},    {9, "VDA"},
    {10, "H264E"},  {11, "JPEGE"},   {12, "MPEG4E"},  {13, "H264D"},  {14, "JPEGD"},
    {15, "VOU"},    {16, "VIU"},     {17, "DSU"},     {18, "VALG"},   {19, "RC"},
    {20, "AIO"},    {21, "AI"},      {22, "AO"},      {23, "AENC"},   {24, "ADEC"},
    {25, "AVENC"},  {26, "PCIV"},    {27, "PCIVFMW"}, {28, "ISP"},    {29, "IVE"},
    {31, "DCCM"},   {32, "DCCS"},    {33, "PROC"},    {34, "LOG"},    {35, "MST_LOG"},
    {36, "VD"},     {38, "VCMP"},    {39, "FB"},      {40, "HDMI"},   {41, "VOIE"},
    {42, "TDE"},    {43, "USR"},     {44, "VEDU"},    {45, "VGS"},    {46, "H265E"},
    {47, "FD"},     {48, "ODT"},     {49, "VGA"},     {50, "LPR"},    {51, "FISHEYE"},
    {52, nullptr},
};

MPP_CHN_S channelAddress(int modId, int devId, int chnId) {
  MPP_CHN_S chn;
  std::memset(&chn, 0, sizeof chn);
  chn.enModId = static_cast<MOD_ID_E>(modId);
  chn.s32DevId = devId;
  chn.s32ChnId = chnId;
  return chn;
}

MPP_CHN_S channelAddress(const Channel& c) {
  return channelAddress(c.get_MODID(), c.get_DID(), c.get_ID());
}

// Element i of the sequence at idx as an integer; a value that is not a number
// is a bad argument idx of the call.
lua_Integer elementInteger(lua_State* L, int idx, int i) {
  if (lua_geti(L, idx, i) != LUA_TNUMBER)
    luaL_argerror(L, idx, lua_pushfstring(L, "number expected at [%d], got %s", i,
                                          luaL_typename(L, -1)));
  lua_Integer v = toInteger(L, -1);
  lua_pop(L, 1);
  return v;
}

// What a failing designation argument reports.
struct DesignationTexts {
  const char* object;  // a userdata that is not one of this module's objects
  const char* params;  // neither an object nor a sequence of three
  const char* modId;   // a sequence whose module is not known
};

const DesignationTexts kSource = {"Invalid from channel object", "Invalid from channel parameters",
                                  "Invalid from channel mod ID"};
const DesignationTexts kDestination = {"Invalid to channel object", "Invalid to channel parameters",
                                       "Invalid to channel mod ID"};
const DesignationTexts kDesignation = {"Invalid channel object passed!",
                                       "Invalid channel parameters", "Invalid channel mod ID"};

// Reads the channel designation at idx, a channel object or a sequence
// {module, device, channel}, into *chn. Answers null, or the failure text.
// An object of a class that is not a channel raises the class mismatch error.
const char* readDesignation(lua_State* L, int idx, const DesignationTexts& texts, MPP_CHN_S* chn) {
  switch (lua_type(L, idx)) {
    case LUA_TLIGHTUSERDATA:  // a userdata to Lua's type() too, but never one of ours
      return texts.object;
    case LUA_TUSERDATA:
      if (!isObject(L, idx)) return texts.object;
      *chn = channelAddress(*checkObject<Channel>(L, idx));
      return nullptr;
    case LUA_TTABLE: {
      if (luaL_len(L, idx) < 3) return texts.params;
      int modId = 0;
      lua_geti(L, idx, 1);
      bool known = idArg(L, -1, kModules, &modId);
      lua_pop(L, 1);
      if (!known) return texts.modId;
      int devId = static_cast<int>(elementInteger(L, idx, 2));
      int chnId = static_cast<int>(elementInteger(L, idx, 3));
      *chn = channelAddress(modId, devId, chnId);
      return nullptr;
    }
    default:
      return texts.params;
  }
}

// Bind and UnBind: the source at 1 is read completely before the destination
// at 2, and the first failure ends the call.
int joinChannels(lua_State* L, const char* func, const char* failText,
                 HI_S32 (*call)(MPP_CHN_S*, MPP_CHN_S*)) {
  MPP_CHN_S src, dst;
  if (const char* bad = readDesignation(L, 1, kSource, &src))
    return pushFailure(L, bad, func, __LINE__);
  if (const char* bad = readDesignation(L, 2, kDestination, &dst))
    return pushFailure(L, bad, func, __LINE__);
  return pushStatus(L, call(&src, &dst), failText, func, __LINE__);
}

// InitPtsBase and SyncPts: the PTS sequence {high, low} at 1.
int applyPts(lua_State* L, const char* func, const char* failText, HI_S32 (*call)(HI_U64)) {
  if (lua_type(L, 1) != LUA_TTABLE) return pushFailure(L, "Invalid PTS struct table", func, __LINE__);
  HI_U32 high = static_cast<HI_U32>(elementInteger(L, 1, 1));
  HI_U32 low = static_cast<HI_U32>(elementInteger(L, 1, 2));
  return pushStatus(L, call(static_cast<HI_U64>(high) << 32 | low), failText, func, __LINE__);
}

}  // namespace

int SYS::Name2MODID(const char* name) { return nameToId(kModules, name); }

const char* SYS::MODID2Name(int id) { return idToName(kModules, id); }

int SYS::Init() {
  MPP_SYS_CONF_S conf;
  std::memset(&conf, 0, sizeof conf);
  conf.u32AlignWidth = 16;
  HI_MPI_SYS_SetConf(&conf);  // the platform keeps its own configuration if it refuses
  return HI_MPI_SYS_Init();
}

int SYS::Exit() { return HI_MPI_SYS_Exit(); }

int SYS::GetVersion(lua_State* L) {
  MPP_VERSION_S version;
  std::memset(&version, 0, sizeof version);
  if (HI_MPI_SYS_GetVersion(&version) != HI_SUCCESS) {
    lua_pushnil(L);
    return 1;
  }
  lua_pushlstring(L, version.aVersion, strnlen(version.aVersion, sizeof version.aVersion));
  return 1;
}

int SYS::SetMemConf(Channel* chn, lua_State* L) {
  const char* zone = luaL_optstring(L, 2, nullptr);
  MPP_CHN_S address = channelAddress(*chn);
  return HI_MPI_SYS_SetMemConf(&address, zone);
}

int SYS::SetMemConfByID(int modId, int devId, int chnId, lua_State* L) {
  const char* zone = luaL_optstring(L, 4, nullptr);
  MPP_CHN_S address = channelAddress(modId, devId, chnId);
  return HI_MPI_SYS_SetMemConf(&address, zone);
}

int SYS::GetMemConf(lua_State* L) {
  MPP_CHN_S chn;
  if (lua_isuserdata(L, 1)) {  // full or light: any userdata that is no channel is refused as such
    const Channel* c = toObject<Channel>(L, 1);
    if (!c) return TESSEL_FAIL(L, "Invalid channel object passed!");
    chn = channelAddress(*c);
  } else {
    int modId = 0;
    if (!idArg(L, 1, kModules, &modId) || lua_type(L, 2) != LUA_TNUMBER || lua_type(L, 3) != LUA_TNUMBER)
      return TESSEL_FAIL(L, "Invalid arguments passed!");
    chn = channelAddress(modId, static_cast<int>(toInteger(L, 2)), static_cast<int>(toInteger(L, 3)));
  }
  // The platform writes at most MAX_MMZ_NAME_LEN bytes and may leave no
  // terminating zero.
  char zone[MAX_MMZ_NAME_LEN];
  std::memset(zone, 0, sizeof zone);
  HI_S32 rc = HI_MPI_SYS_GetMemConf(&chn, zone);
  if (rc != HI_SUCCESS) return TESSEL_FAIL_CODE(L, "Fail to get mem configure", rc);
  lua_pushlstring(L, zone, strnlen(zone, sizeof zone));
  return 1;
}

int SYS::Bind(lua_State* L) { return joinChannels(L, __func__, "Fail to bind channel", &HI_MPI_SYS_Bind); }

int SYS::UnBind(lua_State* L) {
  return joinChannels(L, __func__, "Fail to unbind channel", &HI_MPI_SYS_UnBind);
}

int SYS::GetBind(lua_State* L) {
  MPP_CHN_S dst, src;
  if (const char* bad = readDesignation(L, 1, kDesignation, &dst)) return TESSEL_FAIL(L, bad);
  std::memset(&src, 0, sizeof src);
  HI_S32 rc = HI_MPI_SYS_GetBindbyDest(&dst, &src);
  if (rc != HI_SUCCESS) return TESSEL_FAIL_CODE(L, "Fail to get bind", rc);
  lua_createtable(L, 3, 0);
  lua_pushstring(L, MODID2Name(src.enModId));
  lua_rawseti(L, -2, 1);
  lua_pushinteger(L, src.s32DevId);
  lua_rawseti(L, -2, 2);
  lua_pushinteger(L, src.s32ChnId);
  lua_rawseti(L, -2, 3);
  return 1;
}

int SYS::CloseFd() { return HI_MPI_SYS_CloseFd(); }

int SYS::InitPtsBase(lua_State* L) {
  return applyPts(L, __func__, "InitPtsBase() fail", &HI_MPI_SYS_InitPtsBase);
}

int SYS::SyncPts(lua_State* L) { return applyPts(L, __func__, "SyncPts() fail", &HI_MPI_SYS_SyncPts); }

int SYS::GetCurrentPts(lua_State* L) {
  return pushTimeStamp(L, [](HI_U64* pts) { return HI_MPI_SYS_GetCurPts(pts); });
}

void SYS_Register(lua_State* L) {
  registerChannelBase(L);  // every later registration derives its channels from it
  registerVideoFrame(L);   // handed out by the capture and processing modules
  beginClass<SYS>(L, "SYS")
      .addStaticFunction<&SYS::Name2MODID>("Name2MODID")
      .addStaticFunction<&SYS::MODID2Name>("MODID2Name")
      .addStaticFunction<&SYS::Init>("Init")
      .addStaticFunction<&SYS::Exit>("Exit")
      .addStaticCFunction("GetVersion", &SYS::GetVersion)
      .addStaticFunction<&SYS::SetMemConf>("SetMemConf")
      .addStaticFunction<&SYS::SetMemConfByID>("SetMemConfByID")
      .addStaticCFunction("GetMemConf", &SYS::GetMemConf)
      .addStaticCFunction("Bind", &SYS::Bind)
      .addStaticCFunction("UnBind", &SYS::UnBind)
      .addStaticCFunction("GetBind", &SYS::GetBind)
      .addStaticFunction<&SYS::CloseFd>("CloseFd")
      .addStaticCFunction("InitPtsBase", &SYS::InitPtsBase)
      .addStaticCFunction("SyncPts", &SYS::SyncPts)
      .addStaticCFunction("GetCurrentPts", &SYS::GetCurrentPts)
      .addStaticCFunction("Poll", &SYS::Poll);
}

}  // namespace Tessel
