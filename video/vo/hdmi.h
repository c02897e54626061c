// The HDMI transmitter, over the HI_MPI_HDMI_* calls of the platform's HDMI
// library. What it shows is what the display device driving the "HDMI"
// interface produces; here it is only configured.
#pragma once

#include <lua.hpp>

#include "platform/mpp.h"

#include "frame/binding.h"
#include "frame/convert.h"
#include "frame/ref_counted.h"

// Transmitter attributes and the enumerations they use.
TESSEL_DECLARE_STRUCT(HI_HDMI_ATTR_S)
TESSEL_DECLARE_ENUM(HI_HDMI_VIDEO_FMT_E)
TESSEL_DECLARE_ENUM(HI_HDMI_VIDEO_MODE_E)
TESSEL_DECLARE_ENUM(HI_HDMI_DEEP_COLOR_E)
TESSEL_DECLARE_ENUM(HI_HDMI_SND_INTERFACE_E)
TESSEL_DECLARE_ENUM(HI_HDMI_SAMPLE_RATE_E)
TESSEL_DECLARE_ENUM(HI_HDMI_BIT_DEPTH_E)

namespace Tessel {

// The sink's capabilities as a table (output only).
void pushSinkCapability(lua_State* L, const HI_HDMI_SINK_CAPABILITY_S& cap);

// The chip's one HDMI interface. Releasing the last reference stops and
// closes it.
class HDMIInterface : public RefCountedObjectType<int> {
 public:
  explicit HDMIInterface(HI_HDMI_ID_E id) : m_id(id) {}
  ~HDMIInterface() override {
    HI_MPI_HDMI_Stop(m_id);
    HI_MPI_HDMI_Close(m_id);
  }

  int Open() { return HI_MPI_HDMI_Open(m_id); }
  int Close();
  int Start() { return HI_MPI_HDMI_Start(m_id); }
  int Stop() { return HI_MPI_HDMI_Stop(m_id); }
  int SetAttr(lua_State* L);
  int GetAttr(lua_State* L);
  int GetSinkCapability(lua_State* L);
  int SetAVMute(bool mute) { return HI_MPI_HDMI_SetAVMute(m_id, mute ? HI_TRUE : HI_FALSE); }
  int ForceGetEDID(lua_State* L);
  int SetDeepColor(lua_State* L);
  int GetDeepColor(lua_State* L);

  // Registered as SetInfoFrame and GetInfoFrame: info frames are switched
  // through the attributes' four enable keys only.
  int Placeholder(lua_State* L) { return 0; }

 private:
  HI_HDMI_ID_E m_id;
};

// Module class: the interface, and the library's tear-down.
class HDMI {
 public:
  static int GetInterface(lua_State* L);
  static void Init() {}
  static int DeInit() { return HI_MPI_HDMI_DeInit(); }
};

}  // namespace Tessel
