-- The simulator as a board would judge a script: what the platform refuses
-- comes back as its code, what a board punishes later comes back as findings
-- (sim.check, or an error in strict mode), the journal stays bounded, and the
-- picture shows what exists, how it nests and in which state.
require "tessel"
local sim = require "tessel.sim"
local support = require "tests.lua.support"
local u32 = support.u32
local SYS, VB, VENC, VPSS = Tessel.SYS, Tessel.VB, Tessel.VENC, Tessel.VPSS

local GROUP = { u32MaxW = 1920, u32MaxH = 1080, enPixFmt = "YUV_SEMIPLANAR_420", enDieMode = "yes" }

local function channel_attr(kbps)
  return {
    encoding = { type = "H264", attr = { u32MaxPicWidth = 352, u32MaxPicHeight = 288, u32BufSize = 352 * 288 * 2,
                                         u32PicWidth = 352, u32PicHeight = 288 } },
    bitrate = { mode = "H264CBR", attr = { u32Gop = 30, u32StatTime = 1, u32SrcFrmRate = 30,
                                           fr32DstFrmRate = 30, u32BitRate = kbps or 1024 } },
  }
end

local function status_of(name)
  local c = support.last_call(name)
  return c and u32(c.ret)
end

-- Objects a test keeps alive until the next test (collected objects destroy
-- what they own).
local keep

local function rules()
  local out = {}
  for i, f in ipairs(sim.check()) do out[i] = f.rule end
  return out
end

describe("the simulator refuses what the platform refuses", function()
  before_each(function()
    collectgarbage()
    sim.reset()
  end)

  it("makes no encoder channel or processing group before the system is up", function()
    assert.are.equal(0, VB.Config(4, { { u32BlkSize = 4096, u32BlkCnt = 2 } }))
    assert.are.equal(0, VB.Init())
    VENC.CreateChannel(1, channel_attr())
    assert.are.equal(0xA0088010, status_of("HI_MPI_VENC_CreateChn"))
    VPSS.CreateGroup(1, GROUP)
    assert.are.equal(0xA0078010, status_of("HI_MPI_VPSS_CreateGrp"))
    assert.are.equal(0, SYS.Init())
    VENC.CreateChannel(1, channel_attr())
    assert.are.equal(0, status_of("HI_MPI_VENC_CreateChn"))
  end)

  it("binds only ends that exist, with the missing module's code", function()
    support.power_on()
    local ok, msg = SYS.Bind({ "VPSS", 3, 0 }, { "VENC", 0, 4 })
    assert.is_nil(ok)
    assert.matches("error=A0078005%]$", msg)
    local grp = VPSS.CreateGroup(3, GROUP)
    ok, msg = SYS.Bind({ "VPSS", 3, 0 }, { "VENC", 0, 4 })
    assert.matches("error=A0088005%]$", msg)
    local chn = VENC.CreateChannel(4, channel_attr())
    assert.is_true(SYS.Bind(grp:GetChannel(0), chn))
    assert.is_true(SYS.UnBind(grp:GetChannel(0), chn))
    -- audio decoders must exist as well, with their own code
    ok, msg = SYS.Bind({ "ADEC", 0, 0 }, { "AO", 0, 0 })
    assert.matches("error=A0188005%]$", msg)
  end)

  it("refuses bit rates beyond the encoder's range", function()
    support.power_on()
    VENC.CreateChannel(2, channel_attr(1000000000))
    assert.are.equal(0xA0088003, status_of("HI_MPI_VENC_CreateChn"))
    VENC.CreateChannel(2, channel_attr(102400))
    assert.are.equal(0, status_of("HI_MPI_VENC_CreateChn"))
  end)
end)

describe("findings", function()
  before_each(function()
    keep = nil
    collectgarbage()
    support.power_on()
  end)
  after_each(function() sim.strict(false) end)

  it("name what was left running, alive or bound at system exit, without changing the result", function()
    local grp = VPSS.CreateGroup(0, GROUP)
    local chn = VENC.CreateChannel(1, channel_attr())
    keep = { grp, chn }
    assert.are.equal(0, chn:Start())
    assert.is_true(SYS.Bind(grp:GetChannel(1), chn))
    sim.clear()
    assert.are.equal(0, SYS.Exit())
    local findings = sim.check()
    assert.are.same({ "alive-at-exit", "running-at-exit", "bound-at-exit" }, rules())
    assert.are.same({ rule = "running-at-exit", call = "HI_MPI_SYS_Exit", index = 1,
                      message = "VENC 0/1 still receiving at system exit" }, findings[2])
    assert.are.equal("VPSS group 0 still exists at system exit", findings[1].message)
    assert.are.equal("binding VPSS 0/1 -> VENC 0/1 left in place at system exit", findings[3].message)
  end)

  it("name a processing channel disabled under a bound encoder", function()
    local grp = VPSS.CreateGroup(0, GROUP)
    local chn = VENC.CreateChannel(1, channel_attr())
    keep = { grp, chn }
    local out = grp:GetChannel(1)
    assert.are.equal(0, out:Enable())
    assert.is_true(SYS.Bind(out, chn))
    assert.are.equal(0, out:Disable())
    assert.are.same({ "disabled-while-bound" }, rules())
    assert.are.equal("VPSS 0/1 disabled while bound to VENC 0/1", sim.check()[1].message)
  end)

  it("name a private pool left at buffer pool exit", function()
    keep = VB.CreatePool(4096, 2)
    assert.are.equal(0, SYS.Exit())
    assert.are.equal(0, VB.Exit())
    assert.are.same({ "pool-alive-at-exit" }, rules())
    assert.matches("^private VB pool %d+ still exists at VB exit$", sim.check()[1].message)
  end)

  it("stay empty for a clean tear-down and go with reset", function()
    local chn = VENC.CreateChannel(1, channel_attr())
    assert.are.equal(0, chn:Start())
    assert.are.equal(0, chn:Stop())
    assert.are.equal(0, chn:Destroy())
    assert.are.equal(0, SYS.Exit())
    assert.are.equal(0, VB.Exit())
    assert.are.same({}, sim.check())
    keep = VENC.CreateChannel(2, channel_attr())
    support.power_on()
    SYS.Exit()
    assert.are.same({}, sim.check())
  end)

  it("become Lua errors at the offending line in strict mode", function()
    keep = VENC.CreateChannel(1, channel_attr())
    assert.are.equal(0, keep:Start())
    sim.strict(true)
    local line = debug.getinfo(1, "l").currentline + 1
    local ok, err = pcall(function() return SYS.Exit() end)
    assert.is_false(ok)
    assert.matches("sim_validation_test.lua:" .. line .. ": VENC 0/1 still receiving at system exit", err, 1, true)
    -- later calls without findings go through; strict(false) ends it
    assert.are.equal(0, SYS.Exit())
    sim.strict(false)
    keep = nil
  end)
end)

describe("the journal", function()
  before_each(function() sim.reset() end)
  after_each(function() sim.journal({ limit = 1024, recording = true }) end)

  it("keeps the most recent calls within its bound and counts the others", function()
    local j = sim.journal({ limit = 3 })
    assert.are.same({ size = 0, limit = 3, dropped = 0, recording = true }, j)
    for i = 1, 5 do VB.Config(i, {}) end
    j = sim.journal()
    assert.are.same({ 3, 2 }, { j.size, j.dropped })
    local calls = sim.calls()
    assert.are.equal(5, calls[3].args[1].u32MaxPoolCnt)
    sim.journal({ limit = 1 })
    assert.are.equal(1, #sim.calls())
    assert.are.equal(4, sim.journal().dropped)
  end)

  it("records nothing while recording is off, and a finding still knows its call's position", function()
    sim.journal({ recording = false })
    support.power_on()
    VB.Config(1, {})
    assert.are.equal(0, #sim.calls())
    assert.are.equal(1, sim.journal().dropped)
    keep = VB.CreatePool(4096, 1)
    sim.journal({ recording = true })
    SYS.Exit()
    VB.Exit()
    assert.are.equal(4, sim.check()[1].index)  -- Config, CreatePool, SYS_Exit, VB_Exit
    keep = nil
  end)

  it("refuses settings of the wrong kind", function()
    assert.has_error(function() sim.journal({ limit = -1 }) end)
    assert.has_error(function() sim.journal({ limit = 1.5 }) end)
    assert.has_error(function() sim.journal({ recording = "no" }) end)
    assert.has_error(function() sim.journal(3) end)
  end)
end)

describe("sim.dot", function()
  before_each(function()
    collectgarbage()
    support.power_on()
  end)

  it("labels every node, nests channels in their group and shows their state", function()
    local grp = VPSS.CreateGroup(2, GROUP)
    local chn = VENC.CreateChannel(5, channel_attr())
    keep = { grp, chn, Tessel.ADEC.CreateChannel(3, { enType = "G711A", u32BufSize = 10 }) }
    assert.are.equal(0, grp:GetChannel(1):Enable())
    assert.are.equal(0, grp:Start())
    assert.are.equal(0, chn:Start())
    assert.are.equal(0, chn:Stop())
    assert.is_true(SYS.Bind({ "ADEC", 0, 3 }, { "VPSS", 2, 0 }))
    local dot = sim.dot()
    -- the group is a cluster holding its channels; a started group has a bold frame
    local cluster = dot:match('subgraph "cluster_7_2" {(.-)\n  }')
    assert.is_truthy(cluster)
    assert.matches('label="VPSS group 2"', cluster, 1, true)
    assert.matches("style=bold", cluster, 1, true)
    assert.matches('"7_2_1" [label="VPSS 2/1", style="bold,filled"', cluster, 1, true)
    -- an audio decoder bound as a source is named, and drawn as created
    assert.matches('"24_0_3" [label="ADEC 0/3", style=dashed', dot, 1, true)
    -- a stopped encoder differs from one never started
    assert.matches('"8_0_5" [label="VENC 0/5", style=filled, fillcolor=gray85]', dot, 1, true)
    assert.matches('"24_0_3" -> "7_2_0"', dot, 1, true)
    assert.matches("legend", dot, 1, true)
    keep = nil
  end)
end)
