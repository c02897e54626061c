-- Helpers shared by the Lua tests.
local M = {}

local function slurp(path)
  local f = assert(io.open(path, "rb"))
  local s = f:read("a")
  f:close()
  os.remove(path)
  return s
end

-- Runs a Lua chunk in a fresh interpreter (same environment, so the built
-- modules load) and returns what it wrote to standard output and standard
-- error, and whether it exited successfully.
function M.run(code)
  local script, out, err = os.tmpname(), os.tmpname(), os.tmpname()
  local f = assert(io.open(script, "w"))
  f:write(code)
  f:close()
  local ok = os.execute(string.format("lua5.3 %s >%s 2>%s", script, out, err))
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

return M
