-- Helpers of the system and buffer pool tests.
require "tessel"
local sim = require "tessel.sim"

local M = {}

local support = require "tests.lua.support"
M.u32, M.calls_named, M.last_call = support.u32, support.calls_named, support.last_call

-- n pool entries of distinct sizes and counts; extra fields go into the first.
function M.pools(n, extra)
  local t = {}
  for i = 1, n do t[i] = { u32BlkSize = 1000 + i, u32BlkCnt = i } end
  for k, v in pairs(extra or {}) do t[1][k] = v end
  return t
end

-- A fresh platform with buffer pools up, and the system too unless told not.
function M.start(withoutSystem)
  sim.reset()
  assert(Tessel.VB.Config(8, M.pools(1)) == 0 and Tessel.VB.Init() == 0)
  assert(withoutSystem or Tessel.SYS.Init() == 0)
  sim.clear()
end

return M
