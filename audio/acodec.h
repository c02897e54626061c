// The chip's inner audio codec (converters, microphone amplifiers, input and
// I2S selection), driven through requests on its character device.
#pragma once

#include <string>

#include <lua.hpp>

#include "platform/mpp.h"

#include "frame/binding.h"
#include "frame/ref_counted.h"

namespace Tessel {

// One open descriptor on the codec device (-1 while not open); going away
// closes it.
class InnerCodec : public RefCountedObjectType<int> {
 public:
  explicit InnerCodec(const char* path) : m_path(path) {}
  ~InnerCodec() override { Close(); }

  int Open();
  void Close();
  int Reset();
  int SetSampleRate(lua_State* L);
  int SetDataWidth(lua_State* L);
  int SelectSource(lua_State* L);
  int SelectADCI2S(lua_State* L);
  int SelectDACI2S(lua_State* L);
  int SetOutputDiffMode(lua_State* L);
  int SetInputVolume(int volume);
  int GetInputVolume();
  int SetOutputVolume(int volume);
  int GetOutputVolume();
  int SetMICGain(lua_State* L);
  int GetMICGain(lua_State* L);
  int SetDACGain(lua_State* L);
  int GetDACGain(lua_State* L);
  int SetADCGain(lua_State* L);
  int GetADCGain(lua_State* L);
  int SetMICMute(lua_State* L);
  int SetDACMute(lua_State* L);
  int DacSoftMute();
  int DacSoftUnmute();

 private:
  // Answers whether the codec is open; if not, writes the diagnostic line
  // under the method's name.
  bool open(const char* method, const char* text) const;
  int sendInt(const char* method, unsigned long request, int value);

  std::string m_path;
  int m_fd = -1;
};

// Module class: codec objects.
class ACODEC {
 public:
  static int CreateInnerCodec(lua_State* L);
};

}  // namespace Tessel
