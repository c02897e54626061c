-- System control: module names, start-up order, version, memory zones and
-- the time base, with the result style of each function.
require "tessel"
local sim = require "tessel.sim"
local SYS, VB = Tessel.SYS, Tessel.VB

local t = require "tests.lua.sys_support"
local u32, calls_named, start = t.u32, t.calls_named, t.start

describe("module names", function()
  it("map both ways, with 52 and \"invalid\" for what has no row", function()
    for name, id in pairs({ CMPI = 0, VIU = 16, MST_LOG = 35, VGA = 49, FISHEYE = 51 }) do
      assert.are.equal(id, SYS.Name2MODID(name))
      assert.are.equal(name, SYS.MODID2Name(id))
    end
    assert.are.equal(52, SYS.Name2MODID("venc"))
    for _, n in ipairs({ 30, 37, 52, 53, -1 }) do
      assert.are.equal("invalid", SYS.MODID2Name(n))
    end
    assert.error_matches(function() SYS.MODID2Name({}) end, "number expected, got table")
    assert.error_matches(function() SYS.Name2MODID() end, "string expected, got no value")
  end)
end)

describe("SYS.Init and SYS.Exit", function()
  before_each(sim.reset)

  it("configure an alignment width of 16 and answer the platform's status", function()
    assert.are.equal(0xA0028010, u32(SYS.Init()))  -- no buffer pools yet
    sim.reset()
    assert.are.equal(0, VB.Config(2, { { u32BlkSize = 64, u32BlkCnt = 1 } }))
    assert.are.equal(0, VB.Init())
    sim.fail("HI_MPI_SYS_SetConf", 5)  -- not reported: Init answers for HI_MPI_SYS_Init
    assert.are.equal(0xA0028009, u32(SYS.Init()))
    assert.are.equal(0, SYS.Init())
    assert.are.same({ { u32AlignWidth = 16 } }, calls_named("HI_MPI_SYS_SetConf")[2].args)
    assert.are.equal(0xA0018012, u32(VB.Exit()))  -- the system still runs
    assert.are.equal(0, SYS.Exit())
    assert.are.equal(0, VB.Exit())
  end)
end)

describe("SYS.GetVersion", function()
  it("answers the platform's text, or a single nil", function()
    assert.are.equal("Hi3531D_MPP_V1.0.5.0 B040 Release", SYS.GetVersion())
    sim.fail("HI_MPI_SYS_GetVersion", 1)
    assert.are.same({ n = 1 }, table.pack(SYS.GetVersion()))
  end)
end)

describe("memory zones", function()
  before_each(start)

  it("are set by object or by numbers and read back by either", function()
    local chn = Tessel.VPSS.GetGroup(2):GetChannel(1)
    assert.are.equal(0, SYS.SetMemConf(chn, "ddr1"))
    assert.are.equal("ddr1", SYS.GetMemConf(chn))
    assert.are.equal("ddr1", SYS.GetMemConf("VPSS", 2, 1))
    assert.are.equal(0, SYS.SetMemConfByID(7, 2, 1, nil))
    assert.are.equal("", SYS.GetMemConf(7, 2, 1))
    local set = calls_named("HI_MPI_SYS_SetMemConf")
    assert.are.same({ { enModId = 7, s32DevId = 2, s32ChnId = 1 }, "ddr1" }, set[1].args)
    assert.is_nil(set[2].args[2])  -- no name: the default zone
  end)

  it("read back a name that fills the platform's 16 bytes", function()
    assert.are.equal(0, SYS.SetMemConfByID(16, 0, 0, "0123456789abcdefOVERFLOW"))
    assert.are.equal("0123456789abcdef", SYS.GetMemConf("VIU", 0, 0))
  end)

  it("answer statuses when setting and nil plus a message when reading", function()
    assert.are.equal(0xA0028003, u32(SYS.SetMemConfByID(8, 1, 0, "ddr1")))  -- no VENC device 1
    local pool = VB.CreatePool(64, 1)
    assert.error_matches(function() SYS.SetMemConf(pool, "ddr1") end, "MPPChannel expected, got Pool")
    for _, case in ipairs({
      { {}, "Invalid arguments passed!" },
      { { { 7, 2, 1 } }, "Invalid arguments passed!" },
      { { "NOPE", 0, 0 }, "Invalid arguments passed!" },
      { { "VPSS", 0 }, "Invalid arguments passed!" },
      { { pool }, "Invalid channel object passed!" },
      { { debug.upvalueid(function() return SYS end, 1) }, "Invalid channel object passed!" },  -- light userdata
    }) do
      local ok, msg = SYS.GetMemConf(table.unpack(case[1], 1, 3))
      assert.is_nil(ok)
      assert.matches("^" .. case[2] .. " %[@GetMemConf: line %d+%]$", msg)
    end
    local ok, msg = SYS.GetMemConf("VENC", 1, 0)
    assert.is_nil(ok)
    assert.matches("^Fail to get mem configure %[@GetMemConf: line %d+ %- error=A0028003%]$", msg)
  end)
end)

describe("the time base", function()
  before_each(start)

  local function pts_passed(name)
    local c = calls_named(name)
    return c[#c].args[1]
  end

  it("crosses as {high, low} in both directions", function()
    assert.is_true(SYS.InitPtsBase({ 7, 5 }))
    assert.are.equal(7 << 32 | 5, pts_passed("HI_MPI_SYS_InitPtsBase"))
    local now = SYS.GetCurrentPts()
    assert.are.equal(7, now[1])
    assert.is_true(now[2] >= 5)
    assert.is_true(SYS.SyncPts(now))
    assert.are.equal(now[1] << 32 | now[2], pts_passed("HI_MPI_SYS_SyncPts"))
    assert.is_true(SYS.SyncPts({ 1, -1 }))  -- each half is 32 bits wide
    assert.are.equal(0x1FFFFFFFF, pts_passed("HI_MPI_SYS_SyncPts"))
  end)

  it("reports bad tables and platform refusals", function()
    for _, fn in ipairs({ "InitPtsBase", "SyncPts" }) do
      local ok, msg = SYS[fn](12)
      assert.is_nil(ok)
      assert.matches("^Invalid PTS struct table %[@" .. fn .. ": line %d+%]$", msg)
      assert.has_error(function() SYS[fn]({ 1 }) end)
      sim.fail("HI_MPI_SYS_" .. fn, 0xA0028010)
      ok, msg = SYS[fn]({ 0, 0 })
      assert.is_nil(ok)
      assert.matches("^" .. fn .. "%(%) fail %[@" .. fn .. ": line %d+ %- error=A0028010%]$", msg)
    end
    sim.fail("HI_MPI_SYS_GetCurPts", 1)
    assert.are.same({ n = 1 }, table.pack(SYS.GetCurrentPts()))
  end)
end)
