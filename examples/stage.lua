-- What the demo's stage files share: printing a line, and checking a result
-- (a typed call answers 0, a raw call a value; anything else stops the demo
-- with the call's name and the failure, its platform code named).
local errors = require "tessel.errors"

local stage = {}

function stage.say(fmt, ...) print(string.format(fmt, ...)) end

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
