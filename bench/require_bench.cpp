// What `require "tessel"` costs a script: the time to load and register the
// module in a fresh state, and the Lua heap the registered classes occupy,
// beside the same for a fresh state alone.
#include <chrono>
#include <cstdio>
#include <vector>

#include <lua.hpp>

#include "bench.h"

namespace {

struct Sample {
  double ns;
  double heapKiB;
};

Sample fresh(bool load) {
  auto t0 = std::chrono::steady_clock::now();
  lua_State* L = luaL_newstate();
  luaL_openlibs(L);
  double before = lua_gc(L, LUA_GCCOUNT, 0) + lua_gc(L, LUA_GCCOUNTB, 0) / 1024.0;
  if (load) {
    lua_getglobal(L, "require");
    lua_pushstring(L, "tessel");
    if (lua_pcall(L, 1, 0, 0) != LUA_OK) {
      std::fprintf(stderr, "require_bench: %s\n", lua_tostring(L, -1));
      std::exit(1);
    }
  }
  lua_gc(L, LUA_GCCOLLECT, 0);
  double after = lua_gc(L, LUA_GCCOUNT, 0) + lua_gc(L, LUA_GCCOUNTB, 0) / 1024.0;
  lua_close(L);
  auto t1 = std::chrono::steady_clock::now();
  return {std::chrono::duration<double, std::nano>(t1 - t0).count(), after - before};
}

}  // namespace

int main() {
  fresh(true);  // warm up: the first dlopen reads the file
  std::vector<double> with, without;
  double heap = 0;
  for (int r = 0; r < 41; ++r) {
    Sample a = fresh(true), b = fresh(false);
    with.push_back(a.ns);
    without.push_back(b.ns);
    heap = a.heapKiB;
  }
  double w = bench::median(with), wo = bench::median(without);
  std::printf("require \"tessel\" in a fresh state (median of alternating runs):\n");
  std::printf("%-44s %8.1f us  (state alone %6.1f us, require adds %6.1f us)\n",
              "new state + openlibs + require", w / 1000, wo / 1000, (w - wo) / 1000);
  std::printf("%-44s %8.1f KiB\n", "Lua heap held by the registered module", heap);
  return 0;
}
