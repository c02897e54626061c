// The binding layer against hand-written Lua C API code doing the same work:
// a typed member call, a static call with an integer argument, and a
// read-only property read.
#include <cstring>

#include "bench.h"
#include "frame/binding.h"
#include "frame/channel.h"

namespace {

// The work behind each call: something the optimiser cannot drop.
volatile int g_sink;
__attribute__((noinline)) int platformCall(int chn, int value) {
  g_sink = chn + value;
  return 0;
}

class Probe : public Tessel::Channel, public Tessel::RefCountedObjectType<int> {
 public:
  explicit Probe(int id) : Channel(8, 0, id) {}
  int SetDepth(unsigned int depth) { return platformCall(m_chnId, static_cast<int>(depth)); }
};

class ProbeModule {
 public:
  static Tessel::RefCountedObjectPtr<Probe> GetChannel(int id) { return new Probe(id); }
  static int Twice(int v) { return platformCall(0, v); }
};

// Hand-written equivalent: a userdata with a metatable; __index serves the
// same read-only properties and falls back to the method table.
struct HandProbe {
  int modId, devId, chnId;
};

int handSetDepth(lua_State* L) {
  auto* p = static_cast<HandProbe*>(luaL_checkudata(L, 1, "HandProbe"));
  auto depth = static_cast<unsigned int>(luaL_checkinteger(L, 2));
  lua_pushinteger(L, platformCall(p->chnId, static_cast<int>(depth)));
  return 1;
}

int handIndex(lua_State* L) {
  auto* p = static_cast<HandProbe*>(luaL_checkudata(L, 1, "HandProbe"));
  const char* key = lua_tostring(L, 2);
  if (key) {
    if (std::strcmp(key, "ID") == 0) return lua_pushinteger(L, p->chnId), 1;
    if (std::strcmp(key, "DID") == 0) return lua_pushinteger(L, p->devId), 1;
    if (std::strcmp(key, "MODID") == 0) return lua_pushinteger(L, p->modId), 1;
  }
  lua_pushvalue(L, 2);
  lua_rawget(L, lua_upvalueindex(1));
  return 1;
}

int handNew(lua_State* L) {
  auto* p = static_cast<HandProbe*>(lua_newuserdata(L, sizeof(HandProbe)));
  *p = {8, 0, static_cast<int>(luaL_checkinteger(L, 1))};
  luaL_setmetatable(L, "HandProbe");
  return 1;
}

// For reference: a class with methods only, whose __index is the method
// table itself (no properties possible).
int handPlainNew(lua_State* L) {
  auto* p = static_cast<HandProbe*>(lua_newuserdata(L, sizeof(HandProbe)));
  *p = {8, 0, static_cast<int>(luaL_checkinteger(L, 1))};
  luaL_setmetatable(L, "HandPlain");
  return 1;
}

int handPlainSetDepth(lua_State* L) {
  auto* p = static_cast<HandProbe*>(luaL_checkudata(L, 1, "HandPlain"));
  auto depth = static_cast<unsigned int>(luaL_checkinteger(L, 2));
  lua_pushinteger(L, platformCall(p->chnId, static_cast<int>(depth)));
  return 1;
}

int handTwice(lua_State* L) {
  lua_pushinteger(L, platformCall(0, static_cast<int>(luaL_checkinteger(L, 1))));
  return 1;
}

void registerHand(lua_State* L) {
  luaL_newmetatable(L, "HandProbe");
  lua_newtable(L);
  lua_pushcfunction(L, &handSetDepth);
  lua_setfield(L, -2, "SetDepth");
  lua_pushcclosure(L, &handIndex, 1);
  lua_setfield(L, -2, "__index");
  lua_pop(L, 1);
  luaL_newmetatable(L, "HandPlain");
  lua_newtable(L);
  lua_pushcfunction(L, &handPlainSetDepth);
  lua_setfield(L, -2, "SetDepth");
  lua_setfield(L, -2, "__index");
  lua_pop(L, 1);
  lua_newtable(L);
  lua_pushcfunction(L, &handPlainNew);
  lua_setfield(L, -2, "GetPlain");
  lua_pushcfunction(L, &handNew);
  lua_setfield(L, -2, "GetChannel");
  lua_pushcfunction(L, &handTwice);
  lua_setfield(L, -2, "Twice");
  lua_setglobal(L, "Hand");
}

}  // namespace

int main() {
  lua_State* L = luaL_newstate();
  luaL_openlibs(L);
  Tessel::registerChannelBase(L);
  Tessel::beginClass<Probe, Tessel::Channel>(L, "Probe").addFunction<&Probe::SetDepth>("SetDepth");
  Tessel::beginClass<ProbeModule>(L, "ProbeModule")
      .addStaticFunction<&ProbeModule::GetChannel>("GetChannel")
      .addStaticFunction<&ProbeModule::Twice>("Twice");
  registerHand(L);
  luaL_dostring(L, "ours = Tessel.ProbeModule.GetChannel(3) theirs = Hand.GetChannel(3) plain = Hand.GetPlain(3)");

  const lua_Integer n = 2000000;
  bool ok = true;
  std::printf("binding layer, per call (median of alternating runs):\n");
  ok &= bench::report("typed member call  chn:SetDepth(i)",
                      bench::compare(L, "local c = ours for i = 1, n do c:SetDepth(i) end",
                                     "local c = theirs for i = 1, n do c:SetDepth(i) end", n),
                      1.15);
  ok &= bench::report("static call        M.Twice(i)",
                      bench::compare(L, "local M = Tessel.ProbeModule for i = 1, n do M.Twice(i) end",
                                     "local M = Hand for i = 1, n do M.Twice(i) end", n),
                      1.15);
  ok &= bench::report("property read      chn.ID",
                      bench::compare(L, "local c, s = ours, 0 for i = 1, n do s = s + c.ID end",
                                     "local c, s = theirs, 0 for i = 1, n do s = s + c.ID end", n),
                      1.30);
  bench::Result plain =
      bench::compare(L, "local c = ours for i = 1, n do c:SetDepth(i) end",
                     "local c = plain for i = 1, n do c:SetDepth(i) end", n);
  std::printf("%-44s tessel %7.1f ns  hand-written %7.1f ns  ratio %.2f (reference: a class "
              "without properties)\n",
              "typed member call vs methods-only class", plain.ours, plain.theirs, plain.ratio());
  lua_close(L);
  return ok ? 0 : 1;
}
