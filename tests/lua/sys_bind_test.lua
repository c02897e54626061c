-- Binding channels: designations by channel object or by {module, device,
-- channel}, the failure of each argument, and the graph the platform keeps.
require "tessel"
local sim = require "tessel.sim"
local SYS = Tessel.SYS

local t = require "tests.lua.sys_support"
local start, last_call = t.start, t.last_call

local VPSS_2_1 = { enModId = 7, s32DevId = 2, s32ChnId = 1 }
local VENC_0_5 = { enModId = 8, s32DevId = 0, s32ChnId = 5 }
local light = debug.upvalueid(function() return SYS end, 1)  -- a light userdata

describe("SYS.Bind and SYS.UnBind", function()
  before_each(start)

  it("take the same address from a name, a module number or a channel object", function()
    assert.is_true(SYS.Bind({ "VPSS", 2, 1 }, { "VENC", 0, 5 }))
    assert.are.same({ VPSS_2_1, VENC_0_5 }, last_call("HI_MPI_SYS_Bind").args)
    assert.is_true(SYS.UnBind({ 7, 2, 1, "extra elements are ignored" }, Tessel.VENC.GetChannel(5)))
    assert.are.same({ VPSS_2_1, VENC_0_5 }, last_call("HI_MPI_SYS_UnBind").args)
    assert.is_true(SYS.Bind(Tessel.VPSS.GetGroup(2):GetChannel(1), { "VENC", 0, 5 }))
    assert.are.same({ VPSS_2_1, VENC_0_5 }, last_call("HI_MPI_SYS_Bind").args)
  end)

  it("refuse a bad source, then a bad destination, before calling the platform", function()
    local good = { "VPSS", 0, 0 }
    local cases = {
      { { "VPSS", 0 }, good, "Invalid from channel parameters" },
      { { "XYZ", 0, 0 }, good, "Invalid from channel mod ID" },
      { { true, 0, 0 }, good, "Invalid from channel mod ID" },
      { io.stdout, good, "Invalid from channel object" },
      { light, good, "Invalid from channel object" },
      { { "XYZ", 0, 0 }, { "VENC" }, "Invalid from channel mod ID" },  -- source read first
      { good, nil, "Invalid to channel parameters" },
      { good, { "VENC", 0 }, "Invalid to channel parameters" },
      { good, { "VGA ", 0, 0 }, "Invalid to channel mod ID" },
      { good, io.stderr, "Invalid to channel object" },
    }
    for _, fn in ipairs({ "Bind", "UnBind" }) do
      for i, case in ipairs(cases) do
        local ok, msg = SYS[fn](case[1], case[2])
        assert.is_nil(ok, fn .. " case " .. i)
        assert.matches("^" .. case[3] .. " %[@" .. fn .. ": line %d+%]$", msg)
      end
    end
    assert.are.same({}, sim.calls())
  end)

  it("leave wrong classes and non-numeric numbers to Lua errors", function()
    local pool = Tessel.VB.CreatePool(64, 1)
    assert.error_matches(function() SYS.Bind(pool, { "VENC", 0, 0 }) end, "MPPChannel expected, got Pool")
    assert.error_matches(function() SYS.Bind({ "VPSS", "0", 0 }, { "VENC", 0, 0 }) end, "bad argument #1")
    assert.error_matches(function() SYS.UnBind({ "VPSS", 0, 0 }, { "VENC", 0, 0.5 }) end,
                         "number has no integer representation")
  end)

  it("report platform refusals with their code", function()
    local ok, msg = SYS.Bind({ "VENC", 0, 0 }, { "VPSS", 0, 0 })  -- an encoder is no source
    assert.is_nil(ok)
    assert.matches("^Fail to bind channel %[@Bind: line %d+ %- error=A0028003%]$", msg)
    ok, msg = SYS.UnBind({ "VENC", 0, 0 }, { "VPSS", 0, 0 })
    assert.is_nil(ok)
    assert.matches("^Fail to unbind channel %[@UnBind: line %d+ %- error=A0028003%]$", msg)
    sim.fail("HI_MPI_SYS_Bind", 1)
    ok, msg = SYS.Bind({ "VPSS", 0, 0 }, { "VENC", 0, 0 })
    assert.matches("error=00000001%]$", msg)
  end)
end)

describe("SYS.GetBind", function()
  before_each(start)

  it("answers the source from the binding graph by name", function()
    assert.is_true(SYS.Bind({ "VIU", 1, 3 }, { "VPSS", 4, 0 }))
    assert.is_true(SYS.Bind({ "VIU", 1, 3 }, { "VENC", 0, 9 }))  -- one source, many destinations
    assert.are.same({ "VIU", 1, 3 }, SYS.GetBind({ "VPSS", 4, 0 }))
    assert.are.same({ "VIU", 1, 3 }, SYS.GetBind(Tessel.VENC.GetChannel(9)))
    local ok, msg = SYS.Bind({ "VPSS", 0, 0 }, { "VENC", 0, 9 })  -- one source per destination
    assert.is_nil(ok)
    assert.matches("error=A0028012%]$", msg)

    assert.is_true(SYS.UnBind({ "VIU", 1, 3 }, { "VPSS", 4, 0 }))
    ok, msg = SYS.GetBind({ "VPSS", 4, 0 })
    assert.is_nil(ok)
    assert.matches("^Fail to get bind %[@GetBind: line %d+ %- error=A0028003%]$", msg)
  end)

  it("has its own failure texts", function()
    for _, case in ipairs({
      { { "VPSS", 0 }, "Invalid channel parameters" },
      { "VPSS", "Invalid channel parameters" },
      { { "NOPE", 0, 0 }, "Invalid channel mod ID" },
      { io.stdout, "Invalid channel object passed!" },
      { light, "Invalid channel object passed!" },
    }) do
      local ok, msg = SYS.GetBind(case[1])
      assert.is_nil(ok)
      assert.matches("^" .. case[2] .. " %[@GetBind: line %d+%]$", msg)
    end
  end)

  it("draws the bindings in the simulator's picture", function()
    assert.is_true(SYS.Bind({ "VIU", 0, 0 }, { "VPSS", 0, 0 }))
    assert.is_true(SYS.Bind({ "VPSS", 0, 1 }, { "VENC", 0, 2 }))
    local dot = sim.dot()
    assert.matches('"16_0_0" %-> "7_0_0"', dot)
    assert.matches('"7_0_1" %-> "8_0_2"', dot)
    assert.are.equal(0, SYS.Exit())  -- the platform forgets its bindings
    assert.not_matches("%->", sim.dot())
  end)
end)
