// Module class VI, the capture devices, and the registration of the capture
// classes.
#include <strings.h>

#include "frame/methods.h"
#include "frame/modules.h"
#include "video/vi/vi.h"

namespace Tessel {
namespace {

// An interface mode by name: the device's interface, its multiplexing, and
// whether the second component mask is used (BT.1120 carries luma and
// chroma on two byte lanes).
struct InterfaceMode {
  const char* name;
  VI_INTF_MODE_E intf;
  VI_WORK_MODE_E work;
  bool twoLanes;
};

const InterfaceMode kModes[] = {
    {"BT656", VI_MODE_BT656, VI_WORK_MODE_1Multiplex, false},
    {"BT601", VI_MODE_BT601, VI_WORK_MODE_1Multiplex, false},
    {"CAMERA", VI_MODE_DIGITAL_CAMERA, VI_WORK_MODE_1Multiplex, false},
    {"BT1120", VI_MODE_BT1120_STANDARD, VI_WORK_MODE_1Multiplex, true},
    {"BT1120_INTERLEAVED", VI_MODE_BT1120_INTERLEAVED, VI_WORK_MODE_1Multiplex, false},
    {"D1_4MUX", VI_MODE_BT656, VI_WORK_MODE_4Multiplex, false},
    {"D1_2MUX", VI_MODE_BT656, VI_WORK_MODE_2Multiplex, false},
    {"D1_1MUX", VI_MODE_BT656, VI_WORK_MODE_1Multiplex, false},
};

// The byte lane each device of a group of four samples first: devices 0 and
// 2 the top byte, device 1 the second, device 3 the low byte.
const HI_U32 kFirstMask[4] = {0xFF000000u, 0x00FF0000u, 0xFF000000u, 0x000000FFu};
constexpr HI_U32 kSecondMask = 0x00FF0000u;

struct Named {
  const char* name;
  int value;
};

const Named kYuvSeqs[] = {{"VUVU", VI_INPUT_DATA_VUVU}, {"UYVY", VI_INPUT_DATA_UYVY}, {"UVUV", VI_INPUT_DATA_UVUV},
                          {"VYUY", VI_INPUT_DATA_VYUY}, {"YUYV", VI_INPUT_DATA_YUYV}, {"YVYU", VI_INPUT_DATA_YVYU}};
const Named kClkEdges[] = {{"SINGLE_UP", VI_CLK_EDGE_SINGLE_UP}, {"SINGLE_DOWN", VI_CLK_EDGE_SINGLE_DOWN},
                           {"DOUBLE", VI_CLK_EDGE_DOUBLE}};

// The value of the string under key of the options table, by name (case
// ignored); 0 for a missing key, another type or an unknown name.
template <std::size_t N>
int option(lua_State* L, int options, const char* key, const Named (&names)[N]) {
  int value = 0;
  if (lua_getfield(L, options, key) == LUA_TSTRING) {
    const char* s = lua_tostring(L, -1);
    for (const Named& n : names)
      if (strcasecmp(s, n.name) == 0) value = n.value;
  }
  lua_pop(L, 1);
  return value;
}

}  // namespace

// ConfigMode(mode [, options]): the whole device attribute structure from
// one interface-mode name; options may set "YUVSeq" and "ClkEdge". The
// synchronisation settings, input data type and data reversal stay zero.
int VIDevice::ConfigMode(lua_State* L) {
  if (lua_type(L, 2) != LUA_TSTRING) return TESSEL_FAIL(L, "Invalid VIN mode");
  const char* name = lua_tostring(L, 2);
  const InterfaceMode* mode = nullptr;
  for (const InterfaceMode& m : kModes)
    if (strcasecmp(name, m.name) == 0) mode = &m;
  if (!mode) return TESSEL_FAIL(L, "Invalid VIN mode");

  VI_DEV_ATTR_S attr;
  std::memset(&attr, 0, sizeof attr);
  for (HI_S32& ad : attr.s32AdChnId) ad = -1;
  attr.enIntfMode = mode->intf;
  attr.enWorkMode = mode->work;
  attr.au32CompMask[0] = kFirstMask[m_devId & 3];
  attr.au32CompMask[1] = mode->twoLanes ? kSecondMask : 0;
  if (lua_type(L, 3) == LUA_TTABLE) {
    attr.enDataSeq = static_cast<VI_DATA_YUV_SEQ_E>(option(L, 3, "YUVSeq", kYuvSeqs));
    attr.enClkEdge = static_cast<VI_CLK_EDGE_E>(option(L, 3, "ClkEdge", kClkEdges));
  }
  return pushStatus(L, HI_MPI_VI_SetDevAttr(m_devId, &attr), "Fail to set device attributes", __func__, __LINE__);
}

void VI_Register(lua_State* L) {
  beginClass<VIChannel, Channel>(L, "VIChannel")
      .addFunction<&VIChannel::Destroy>("Destroy")
      .addFunction<&VIChannel::Enable>("Enable")
      .addFunction<&VIChannel::Disable>("Disable")
      .addCFunction<&VIChannel::SetAttr>("SetAttr")
      .addCFunction<&VIChannel::GetAttr>("GetAttr")
      .addCFunction<&VIChannel::SetMinorAttr>("SetMinorAttr")
      .addCFunction<&VIChannel::GetMinorAttr>("GetMinorAttr")
      .addFunction<&VIChannel::ClearMinorAttr>("ClearMinorAttr")
      .addCFunction<&VIChannel::SetSkipMode>("SetSkipMode")
      .addCFunction<&VIChannel::GetSkipMode>("GetSkipMode")
      .addFunction<&VIChannel::EnableInterrupt>("EnableInterrupt")
      .addFunction<&VIChannel::DisableInterrupt>("DisableInterrupt")
      .addFunction<&VIChannel::SetFrameDepth>("SetFrameDepth")
      .addFunction<&VIChannel::GetFrameDepth>("GetFrameDepth")
      .addCFunction<&VIChannel::GetFrame>("GetFrame")
      .addCFunction<&VIChannel::SetUserPic>("SetUserPic")
      .addFunction<&VIChannel::EnableUserPic>("EnableUserPic")
      .addFunction<&VIChannel::DisableUserPic>("DisableUserPic")
      .addFunction<&VIChannel::GetFd>("GetFd")
      .addCFunction<&VIChannel::GetLuma>("GetLuma")
      .addCFunction<&VIChannel::Query>("Query")
      .addFunction<&VIChannel::SetRotate>("SetRotate")
      .addFunction<&VIChannel::GetRotate>("GetRotate");

  beginClass<VIDevice>(L, "VIDevice")
      .addProperty<&VIDevice::get_MaxChannels>("MaxChannels")
      .addFunction<&VIDevice::Enable>("Enable")
      .addFunction<&VIDevice::Disable>("Disable")
      .addFunction<&VIDevice::GetChannel>("GetChannel")
      .addCFunction<&VIDevice::ConfigMode>("ConfigMode");

  beginClass<VI>(L, "VI")
      .addStaticProperty<&VI::get_MaxDevices>("MaxDevices")
      .addStaticFunction<&VI::GetDevice>("GetDevice");
}

}  // namespace Tessel
