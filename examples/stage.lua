-- What the demo's stage files share: reporting a line, and checking a result
-- (a typed call answers 0, a raw call a value; anything else stops the demo
-- with the call's name and the failure, its platform code named).
--
-- Lines go to stage.log (an open file) when there is one, and to standard
-- output only when stage.verbose is set (TESSEL_VERBOSE=1 in the
-- environment, or the demo's -v): the stages are quiet by default. A failed
-- check is never quiet: it raises, and the caller reports it.
local errors = require "tessel.errors"

local stage = {}

stage.verbose = (os.getenv("TESSEL_VERBOSE") or "") ~= "" and os.getenv("TESSEL_VERBOSE") ~= "0"
stage.log = nil

function stage.say(fmt, ...)
  local line = string.format(fmt, ...)
  if stage.log then stage.log:write(line, "\n") end
  if stage.verbose then print(line) end
end

function stage.check(what, result, message)
  if result == nil or (math.type(result) == "integer" and result ~= 0) then
    local failure = message or string.format("error %08X", result & 0xFFFFFFFF)
    local code = message or result
    if errors.name(code) then failure = string.format("%s (%s, %s)", failure, errors.name(code), errors.describe(code)) end
    error(string.format("%s: %s", what, failure), 2)
  end
  stage.say("  %-44s ok", what)
  return result
end

return stage
