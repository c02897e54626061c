-- The simulator accepts what runs on boards, answers only the platform's own
-- codes, and says why it refuses a call.
require "tessel"
local sim = require "tessel.sim"
local errors = require "tessel.errors"
local support = require "tests.lua.support"
local calls_named, last_call = support.calls_named, support.last_call

local function up(common)
  collectgarbage()
  sim.reset()
  common = common or { max = 8, pools = { { u32BlkSize = 64, u32BlkCnt = 1 } } }
  assert(Tessel.VB.Config(common.max, common.pools) == 0)
  assert(Tessel.VB.Init() == 0)
  assert(Tessel.SYS.Init() == 0)
  sim.clear()
end

local function h264(profile, codec)
  return {
    encoding = { type = codec or "H264", attr = { u32MaxPicWidth = 1920, u32MaxPicHeight = 1080, u32BufSize = 1920 * 1080,
                                                  u32PicWidth = 1920, u32PicHeight = 1080, u32Profile = profile } },
    bitrate = { mode = (codec or "H264") .. "CBR", attr = { u32Gop = 30, u32StatTime = 1, u32SrcFrmRate = 30,
                                                            fr32DstFrmRate = 30, u32BitRate = 4096 } },
  }
end

local CAPTURE = { stCapRect = { s32X = 0, s32Y = 0, u32Width = 1920, u32Height = 1080 },
                  stDestSize = { u32Width = 1920, u32Height = 1080 }, enPixFormat = "YUV_SEMIPLANAR_420",
                  s32SrcFrameRate = -1, s32DstFrameRate = -1 }
local GROUP = { u32MaxW = 1920, u32MaxH = 1080, enPixFmt = "YUV_SEMIPLANAR_420", enDieMode = "yes" }

describe("what boards accept", function()
  after_each(function() sim.strict(false) end)

  it("counts module and private pools apart from the common pools' maximum", function()
    up({ max = 1, pools = { { u32BlkSize = 4147200, u32BlkCnt = 3 } } })
    assert.is_true(Tessel.VB.SetModPoolConf("VDEC", 2, { { u32BlkSize = 3146496, u32BlkCnt = 20 },
                                                          { u32BlkSize = 139776, u32BlkCnt = 20 } }))
    assert.is_true(Tessel.VB.InitModCommPool("VDEC"))
    local pool = Tessel.VB.CreatePool(0x300300, 20)
    assert.is_number(pool.ID)
    assert.are_not.equal(0xFFFFFFFF, pool.ID)
    -- a module's own maximum still holds
    assert.is_true(Tessel.VB.ExitModCommPool("VDEC"))
    local two = { { u32BlkSize = 64, u32BlkCnt = 1 }, { u32BlkSize = 64, u32BlkCnt = 1 } }
    assert.is_true(Tessel.VB.SetModPoolConf("VDEC", 1, two))
    assert.is_nil(Tessel.VB.InitModCommPool("VDEC"))
    assert.matches("of at most 1 pools of this module", last_call("HI_MPI_VB_InitModCommPool").reason)
    pool:Destroy()
  end)

  it("takes a decoder's picture-buffer count before the channel exists", function()
    up()
    local chn = Tessel.VDEC.GetChannel(3)
    assert.are.equal(0, chn:SetVBCnt(10))
    assert.is_true(chn:Create({ enType = "H264", u32BufSize = 1920 * 1080, u32PicWidth = 1920, u32PicHeight = 1080,
                                attr = { u32RefFrameNum = 2, enMode = "FRAME", bTemporalMvpEnable = false } }))
    assert.are.equal(10, chn:GetVBCnt())
    assert.are.equal(0, chn:Destroy())
  end)

  it("takes H.264 profiles 0 to 3 and H.265 profile 0, and says why it refuses others", function()
    up()
    for profile = 0, 3 do
      local chn = Tessel.VENC.GetChannel(profile)
      assert.is_true(chn:Create(h264(profile)), "profile " .. profile)
      chn:Destroy()
    end
    assert.is_nil(Tessel.VENC.GetChannel(4):Create(h264(4)))
    assert.are.equal("H.264 profile 4 outside [0, 3]", last_call("HI_MPI_VENC_CreateChn").reason)
    assert.is_nil(Tessel.VENC.GetChannel(5):Create(h264(1, "H265")))
    assert.are.equal("H.265 profile 1: this encoder takes profile 0 only", last_call("HI_MPI_VENC_CreateChn").reason)
  end)

  it("finds a capture channel in a binding by its number, whatever the device", function()
    up()
    local capture = Tessel.VI.GetDevice(2):GetChannel(8)
    assert(capture:SetAttr(CAPTURE))
    local group = assert(Tessel.VPSS.CreateGroup(0, GROUP))
    assert.is_true(Tessel.SYS.Bind({ "VIU", 0, 8 }, group:GetChannel(0)))
    assert.are.same({ "VIU", 0, 8 }, Tessel.SYS.GetBind(group:GetChannel(0)))  -- as the script bound it
    assert.is_true(Tessel.SYS.UnBind({ "VIU", 2, 8 }, group:GetChannel(0)))
    assert.are.equal(0, group:Destroy())
    assert.are.equal(0, Tessel.SYS.Exit())
    assert.are.same({}, sim.check())
  end)

  it("attaches a cover to a processing channel", function()
    up()
    local group = assert(Tessel.VPSS.CreateGroup(0, GROUP))
    local cover = Tessel.RGN.CreateRegion(0, { type = "COVER" })
    assert.is_true(cover:AttachToChn(group:GetChannel(0), { bShow = true, enType = "COVER",
      attr = { stRect = { s32X = 160, s32Y = 160, u32Width = 480, u32Height = 240 }, u32Color = 0, u32Layer = 1 } }))
    assert.is_true(cover:DetachFromChn(group:GetChannel(0)))
  end)

  it("lets an unbind of what is not bound through, with a finding", function()
    up()
    assert.is_true(Tessel.SYS.UnBind({ "VPSS", 0, 0 }, { "VENC", 0, 0 }))
    local f = sim.check()
    assert.are.equal(1, #f)
    assert.are.equal("unbind-not-bound", f[1].rule)
  end)
end)

describe("refusals", function()
  after_each(function() sim.strict(false) end)

  it("each carry a reason in the journal, the platform's words where no rule spoke", function()
    up()
    Tessel.VENC.GetChannel(7):Start()                     -- a channel never created
    Tessel.SYS.Bind({ "VPSS", 0, 0 }, { "VENC", 0, 7 })   -- ends that do not exist
    Tessel.VENC.GetChannel(7):Create(h264(1, "H265"))     -- a profile H.265 does not have
    sim.fail("HI_MPI_VENC_Query", 0xA0088012)
    Tessel.VENC.GetChannel(7):Query()
    local refused = 0
    for _, c in ipairs(sim.calls()) do
      local failed = c.reason ~= nil
      if math.type(c.ret) == "integer" and c.ret < 0 then
        assert.is_string(c.reason, c.name)
        failed = true
      end
      if failed then refused = refused + 1 end
    end
    assert.are.equal(4, refused)
    assert.are.equal("VENC 0/7 does not exist", calls_named("HI_MPI_VENC_StartRecvPic")[1].reason)
    assert.are.equal("failure requested with sim.fail", last_call("HI_MPI_VENC_Query").reason)
  end)

  it("raise at the calling line under sim.strict{refusals = true}, and not under sim.strict(true)", function()
    up()
    local chn = Tessel.VENC.GetChannel(9)
    sim.strict(true)
    assert.are_not.equal(0, chn:Start())  -- a status that Lua counts as true
    sim.strict({ refusals = true })
    local ok, msg = pcall(function() return chn:Start() end)
    assert.is_false(ok)
    assert.matches("sim_fidelity_test%.lua:%d+: refused: HI_MPI_VENC_StartRecvPic: VENC 0/9 does not exist", msg)
    assert.is_true(chn:Create(h264(0)))  -- what goes through does not raise
    sim.strict(false)
    chn:Destroy()
  end)

  it("of a destroy report that the object is left to nobody", function()
    up()
    local chn = assert(Tessel.VENC.CreateChannel(1, h264(0)))
    assert.are.equal(0, chn:Start())
    assert.are_not.equal(0, chn:Destroy())
    local f = sim.check()
    assert.are.equal("destroy-refused", f[#f].rule)
    assert.matches("^VENC 0/1 was not destroyed %(still receiving: stop it first%)", f[#f].message)
    assert.are.equal(0, Tessel.VENC.ForceFreeChannel(1))
  end)

  it("name how many more findings system exit has under strict mode", function()
    up()
    Tessel.VENC.CreateChannel(1, h264(0))
    Tessel.VENC.CreateChannel(2, h264(0))
    sim.strict(true)
    local ok, msg = pcall(Tessel.SYS.Exit)
    sim.strict(false)
    assert.is_false(ok)
    assert.matches("%(and 1 more: sim%.check%(%)%)$", msg)
  end)
end)

describe("codes", function()
  -- Every module code the simulator's sources compose is one the platform
  -- defines: fault(REASON) and err(kMod, REASON) in a file of one module,
  -- fault(mod, REASON) in a file of several (each module it names), err(HI_ID_X,
  -- REASON) anywhere, and err(mod, REASON) in a shared helper for each module
  -- whose file calls that helper.
  local reasons = { INVALID_DEVID = 1, INVALID_CHNID = 2, ILLEGAL_PARAM = 3, EXIST = 4, UNEXIST = 5, NULL_PTR = 6,
                    NOT_CONFIG = 7, NOT_SUPPORT = 8, NOT_PERM = 9, NOMEM = 12, NOBUF = 13, BUF_EMPTY = 14,
                    BUF_FULL = 15, SYS_NOTREADY = 16, BUSY = 18 }
  local ids = { VB = 1, SYS = 2, RGN = 3, VDEC = 5, VPSS = 7, VENC = 8, VOU = 15, VIU = 16, AI = 21, AO = 22,
                AENC = 23, ADEC = 24, HDMI = 40 }

  local function code(mod, reason)
    return 0xA0000000 | ids[mod] << 16 | 4 << 13 | (reasons[reason] or tonumber(reason))
  end

  local function read(path)
    local f = assert(io.open(path))
    local text = f:read("a")
    f:close()
    return text
  end

  -- The reasons each helper of stored.h composes for the module it is given.
  local function helpers()
    local found, current = {}, nil
    for line in read("platform/sim/stored.h"):gmatch("[^\n]*") do
      current = line:match("([%w_]+)%(int mod[,)]") or current
      for reason in line:gmatch("err%(mod, (%u[%u_]*)%)") do
        found[current] = found[current] or {}
        table.insert(found[current], reason)
      end
    end
    return found
  end

  it("are all ones the platform's headers define", function()
    local undefined, shared = {}, helpers()
    local function check(mod, reason, where)
      if ids[mod] and (reasons[reason] or tonumber(reason)) and not errors.name(code(mod, reason)) then
        undefined[#undefined + 1] = where .. ": " .. mod .. " " .. reason
      end
    end
    local dir = io.popen("ls platform/sim/*.cpp platform/sim/core/*.cpp platform/sim/stored.h")
    for path in dir:lines() do
      local text = read(path)
      local own = {}
      local single = text:match("constexpr int kMod = HI_ID_(%u+);")
      if single then
        own[single] = true
      elseif text:find("fault%(int mod") then
        for mod in text:gmatch("HI_ID_(%u+)") do own[mod] = true end
      end
      for mod in pairs(own) do
        for reason in text:gmatch("[^%w_]fault%((%u[%u_]*)%)") do check(mod, reason, path) end
        for reason in text:gmatch("[^%w_]fault%(%l+, (%u[%u_]*)%)") do check(mod, reason, path) end
        for reason in text:gmatch("err%(kMod, (%u[%u_]*)%)") do check(mod, reason, path) end
        for helper, composed in pairs(shared) do
          if text:find("[^%w_]" .. helper .. "%(") then
            for _, reason in ipairs(composed) do check(mod, reason, path .. " through " .. helper) end
          end
        end
      end
      for mod, reason in text:gmatch("[^%w_]fault%(HI_ID_(%u+), (%u[%u_]*)%)") do check(mod, reason, path) end
      for mod, reason in text:gmatch("err%(HI_ID_(%u+), (%u[%u_]*)%)") do check(mod, reason, path) end
    end
    dir:close()
    assert.are.same({}, undefined)
    assert.is_not_nil(shared.createChannel, "the helpers of stored.h were not found")
  end)
end)
