// A fresh Lua state per test, with helpers to run chunks and read results.
#pragma once

#include <gtest/gtest.h>

#include <string>

#include <lua.hpp>

class LuaTest : public ::testing::Test {
 protected:
  void SetUp() override {
    L = luaL_newstate();
    luaL_openlibs(L);
  }
  void TearDown() override { lua_close(L); }

  // Runs a chunk; returns "" on success or the error message.
  std::string run(const std::string& code) {
    int top = lua_gettop(L);
    std::string err;
    if (luaL_dostring(L, code.c_str()) != LUA_OK) err = lua_tostring(L, -1);
    lua_settop(L, top);
    return err;
  }

  // Evaluates an expression and returns tostring() of its first value.
  std::string eval(const std::string& expr) {
    int top = lua_gettop(L);
    std::string out;
    if (luaL_dostring(L, ("return tostring(" + expr + ")").c_str()) != LUA_OK)
      out = std::string("error: ") + lua_tostring(L, -1);
    else
      out = lua_tostring(L, -1);
    lua_settop(L, top);
    return out;
  }

  lua_State* L = nullptr;
};
