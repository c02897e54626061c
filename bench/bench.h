// Side-by-side timing of Lua snippets: each pair runs alternately in the same
// process, several rounds, and the ratio of the medians is reported.
#pragma once

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <vector>

#include <lua.hpp>

namespace bench {

// Compiles "return function(n) ... end" style chunks once; runs them with n.
inline int compile(lua_State* L, const std::string& body) {
  std::string code = "return function(n) " + body + " end";
  if (luaL_dostring(L, code.c_str()) != LUA_OK) {
    std::fprintf(stderr, "bench: %s\n", lua_tostring(L, -1));
    std::exit(1);
  }
  return luaL_ref(L, LUA_REGISTRYINDEX);
}

inline double timeRun(lua_State* L, int fn, lua_Integer n) {
  lua_rawgeti(L, LUA_REGISTRYINDEX, fn);
  lua_pushinteger(L, n);
  auto t0 = std::chrono::steady_clock::now();
  if (lua_pcall(L, 1, 0, 0) != LUA_OK) {
    std::fprintf(stderr, "bench: %s\n", lua_tostring(L, -1));
    std::exit(1);
  }
  auto t1 = std::chrono::steady_clock::now();
  return std::chrono::duration<double, std::nano>(t1 - t0).count() / static_cast<double>(n);
}

inline double median(std::vector<double> v) {
  std::sort(v.begin(), v.end());
  return v[v.size() / 2];
}

struct Result {
  double ours, theirs;
  double ratio() const { return ours / theirs; }
};

// Runs both loops alternately for the given rounds; returns the medians (ns per iteration).
inline Result compare(lua_State* L, const std::string& ours, const std::string& theirs,
                      lua_Integer n, int rounds = 15) {
  int a = compile(L, ours), b = compile(L, theirs);
  timeRun(L, a, n / 10);  // warm up
  timeRun(L, b, n / 10);
  std::vector<double> ta, tb;
  for (int r = 0; r < rounds; ++r) {
    if (r % 2) {
      ta.push_back(timeRun(L, a, n));
      tb.push_back(timeRun(L, b, n));
    } else {
      tb.push_back(timeRun(L, b, n));
      ta.push_back(timeRun(L, a, n));
    }
  }
  luaL_unref(L, LUA_REGISTRYINDEX, a);
  luaL_unref(L, LUA_REGISTRYINDEX, b);
  return {median(ta), median(tb)};
}

// Prints one line and answers whether the ratio is within target.
inline bool report(const char* what, const Result& r, double target) {
  bool ok = r.ratio() <= target;
  std::printf("%-44s tessel %7.1f ns  hand-written %7.1f ns  ratio %.2f (target <= %.2f) %s\n",
              what, r.ours, r.theirs, r.ratio(), target, ok ? "ok" : "OVER");
  return ok;
}

}  // namespace bench
