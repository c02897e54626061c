-- Helpers shared by the Lua tests.
local M = {}

local function slurp(path)
  local f = assert(io.open(path, "rb"))
  local s = f:read("a")
  f:close()
  os.remove(path)
  return s
end

-- What a shell command writes to standard output.
function M.sh(cmd)
  local p = assert(io.popen(cmd))
  local out = p:read("a")
  p:close()
  return out
end

-- Runs a Lua chunk in a fresh interpreter (same environment, so the built
-- modules load) and returns what it wrote to standard output and standard
-- error, and whether it exited successfully. TESSEL_LUA names the interpreter
-- command when it is not the host's lua5.3 (an emulated target's, say).
local interpreter = os.getenv("TESSEL_LUA") or "lua5.3"

function M.run(code)
  local script, out, err = os.tmpname(), os.tmpname(), os.tmpname()
  local f = assert(io.open(script, "w"))
  f:write(code)
  f:close()
  local ok = os.execute(string.format("%s %s >%s 2>%s", interpreter, script, out, err))
  os.remove(script)
  return slurp(out), slurp(err), ok == true
end

-- Diagnostic lines written to standard error: "[MM-DD hh:mm:ss] (ERR) <reporter> (<line>) <message>".
function M.diagnostics(stderr)
  local lines = {}
  for line in stderr:gmatch("[^\n]+") do
    local reporter, message = line:match("^%[%d%d%-%d%d %d%d:%d%d:%d%d%] %(ERR%) (%S+) %(%d+%) (.*)$")
    lines[#lines + 1] = reporter and { reporter = reporter, message = message } or { raw = line }
  end
  return lines
end

-- Number of entries in the registry; a call that leaks a reference grows it.
function M.registry_size()
  local n = 0
  for _ in pairs(debug.getregistry()) do n = n + 1 end
  return n
end

-- The journaled calls of one platform function, oldest first, and the last.
function M.calls_named(name)
  local found = {}
  for _, c in ipairs(require("tessel.sim").calls()) do
    if c.name == name then found[#found + 1] = c end
  end
  return found
end

function M.last_call(name)
  local found = M.calls_named(name)
  return found[#found]
end

-- A platform start without objects; wrappers left by earlier tests are
-- collected first, so that their destruction is not counted afterwards.
function M.fresh()
  collectgarbage()
  collectgarbage()
  M.power_on()
end

-- Power-on with buffer pools and the system up, as every pipeline starts
-- (modules make no objects before), and an empty journal.
function M.power_on()
  local sim = require "tessel.sim"
  sim.reset()
  assert(Tessel.VB.Config(8, { { u32BlkSize = 4096, u32BlkCnt = 2 } }) == 0 and Tessel.VB.Init() == 0)
  assert(Tessel.SYS.Init() == 0)
  sim.clear()
end

-- Platform status codes as unsigned and as signed 32-bit numbers.
function M.u32(status) return status & 0xFFFFFFFF end
function M.s32(code) return code >= 0x80000000 and code - 0x100000000 or code end

return M
