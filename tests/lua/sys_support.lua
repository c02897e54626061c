-- Helpers of the system and buffer pool tests.
require "tessel"
local sim = require "tessel.sim"

local M = {}

-- A platform status as the unsigned code it is written as.
function M.u32(status) return status & 0xFFFFFFFF end

-- The journaled calls of one platform function, oldest first.
function M.calls_named(name)
  local found = {}
  for _, c in ipairs(sim.calls()) do
    if c.name == name then found[#found + 1] = c end
  end
  return found
end

function M.last_call(name)
  local found = M.calls_named(name)
  return found[#found]
end

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
