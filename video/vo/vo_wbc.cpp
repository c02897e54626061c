// VOWbc: the write-back unit, and VO.GetWBC which hands out its one object.
#include <strings.h>

#include "frame/methods.h"
#include "frame/modules.h"
#include "video/vo/vo.h"

namespace Tessel {
namespace {

struct Named {
  const char* name;
  int value;
};

// Source types; "VIDEO" is another name for a layer.
const Named kSourceTypes[] = {{"DEVICE", VO_WBC_SOURCE_DEV}, {"LAYER", VO_WBC_SOURCE_VIDEO},
                              {"VIDEO", VO_WBC_SOURCE_VIDEO}, {"GRAPHIC", VO_WBC_SOURCE_GRAPHIC}};

}  // namespace

// The one write-back object, made on first use and kept until the module
// is unloaded.
RefCountedObjectPtr<VOWbc> VO::GetWBC(int id) {
  if (id != 0) {
    TESSEL_DIAG("VO WBC id is out of range, valid is [0," << vo::kWbcs << ")");
    return nullptr;
  }
  static const RefCountedObjectPtr<VOWbc> holder(new VOWbc());
  return holder;
}

// SetSource(type, source): the source is a number, or a VODevice for the
// device type and a VOLayer for the layer type.
int VOWbc::SetSource(lua_State* L) {
  VO_WBC_SOURCE_S source = {VO_WBC_SOURCE_BUTT, 0};
  if (lua_type(L, 2) == LUA_TNUMBER) {
    source.enSourceType = static_cast<VO_WBC_SOURCE_TYPE_E>(luaL_checkinteger(L, 2));
  } else if (lua_type(L, 2) == LUA_TSTRING) {
    for (const Named& n : kSourceTypes)
      if (strcasecmp(lua_tostring(L, 2), n.name) == 0) source.enSourceType = static_cast<VO_WBC_SOURCE_TYPE_E>(n.value);
  }
  if (source.enSourceType == VO_WBC_SOURCE_BUTT) return TESSEL_FAIL(L, "Invalid WBC source type");

  if (lua_type(L, 3) == LUA_TNUMBER) {
    source.u32SourceId = static_cast<HI_U32>(luaL_checkinteger(L, 3));
  } else if (lua_type(L, 3) == LUA_TUSERDATA && source.enSourceType == VO_WBC_SOURCE_DEV) {
    const VODevice* dev = toObject<VODevice>(L, 3);
    if (!dev) return TESSEL_FAIL(L, "Invalid source device object");
    source.u32SourceId = static_cast<HI_U32>(dev->get_ID());
  } else if (lua_type(L, 3) == LUA_TUSERDATA && source.enSourceType == VO_WBC_SOURCE_VIDEO) {
    const VOLayer* layer = toObject<VOLayer>(L, 3);
    if (!layer) return TESSEL_FAIL(L, "Invalid source layer object");
    source.u32SourceId = static_cast<HI_U32>(layer->get_ID());
  } else {
    return TESSEL_FAIL(L, "Invalid source object");
  }
  return pushStatus(L, HI_MPI_VO_SetWbcSource(m_wbcId, &source), "fail to set WBC source", __func__, __LINE__);
}

// The source type's name (nil for a type without one) and its number.
int VOWbc::GetSource(lua_State* L) {
  VO_WBC_SOURCE_S source = {VO_WBC_SOURCE_DEV, 0};
  HI_S32 rc = HI_MPI_VO_GetWbcSource(m_wbcId, &source);
  if (rc != HI_SUCCESS) return TESSEL_FAIL_CODE(L, "Fail to get WBC source", rc);
  switch (source.enSourceType) {
    case VO_WBC_SOURCE_DEV: lua_pushstring(L, "DEVICE"); break;
    case VO_WBC_SOURCE_VIDEO: lua_pushstring(L, "LAYER"); break;
    case VO_WBC_SOURCE_GRAPHIC: lua_pushstring(L, "GRAPHIC"); break;
    default: lua_pushnil(L); break;
  }
  lua_pushinteger(L, source.u32SourceId);
  return 2;
}

int VOWbc::SetAttr(lua_State* L) {
  return setFromTable<VO_WBC_ATTR_S>(L, __func__, __LINE__, "Fail to set WBC attributes",
                                     [&](VO_WBC_ATTR_S* p) { return HI_MPI_VO_SetWbcAttr(m_wbcId, p); });
}

int VOWbc::GetAttr(lua_State* L) {
  return getAsTable<VO_WBC_ATTR_S>(L, __func__, __LINE__, "Fail to get WBC attributes",
                                   [&](VO_WBC_ATTR_S* p) { return HI_MPI_VO_GetWbcAttr(m_wbcId, p); });
}

int VOWbc::SetMode(lua_State* L) {
  VO_WBC_MODE_E mode;
  if (!readArg(L, 2, &mode, __func__, __LINE__)) return 2;
  return pushStatus(L, HI_MPI_VO_SetWbcMode(m_wbcId, mode), "Fail to set WBC mode", __func__, __LINE__);
}

int VOWbc::GetMode(lua_State* L) {
  VO_WBC_MODE_E mode = VO_WBC_MODE_NOMAL;
  HI_S32 rc = HI_MPI_VO_GetWbcMode(m_wbcId, &mode);
  if (rc != HI_SUCCESS) return TESSEL_FAIL_CODE(L, "Fail to get WBC mode", rc);
  return pushResult(L, mode, __func__, __LINE__);
}

int VOWbc::GetDepth() {
  return valueOrCode([&](HI_U32* v) { return HI_MPI_VO_GetWbcDepth(m_wbcId, v); });
}

void registerWriteBack(lua_State* L) {
  beginClass<VOWbc, Channel>(L, "VOWbc")
      .addProperty<&VOWbc::get_WbcID>("WbcID")
      .addCFunction<&VOWbc::SetSource>("SetSource")
      .addCFunction<&VOWbc::GetSource>("GetSource")
      .addFunction<&VOWbc::Enable>("Enable")
      .addFunction<&VOWbc::Disable>("Disable")
      .addCFunction<&VOWbc::SetAttr>("SetAttr")
      .addCFunction<&VOWbc::GetAttr>("GetAttr")
      .addCFunction<&VOWbc::SetMode>("SetMode")
      .addCFunction<&VOWbc::GetMode>("GetMode")
      .addFunction<&VOWbc::SetDepth>("SetDepth")
      .addFunction<&VOWbc::GetDepth>("GetDepth");
}

}  // namespace Tessel
