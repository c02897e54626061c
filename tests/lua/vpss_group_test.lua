-- Processing groups and channels: factories and ownership, the structures
-- through their setters and getters, the crop, sizer and prescale argument
-- forms, the rotation codes, and what the simulated platform refuses.
require "tessel"
local sim = require "tessel.sim"
local support = require "tests.lua.support"
local VPSS = Tessel.VPSS

local calls_named, last_call, fresh, s32 = support.calls_named, support.last_call, support.fresh, support.s32

local GRP_ATTR = { u32MaxW = 1920, u32MaxH = 1080, enPixFmt = "YUV_SEMIPLANAR_420", bIeEn = true,
                   bDciEn = false, bNrEn = true, bHistEn = false, bEsEn = 1, enDieMode = "yes" }
local GRP_ATTR_RAW = { u32MaxW = 1920, u32MaxH = 1080, enPixFmt = 23, bIeEn = 1, bDciEn = 0, bNrEn = 1,
                       bHistEn = 0, bEsEn = 1, enDieMode = 2, u32MaxDieWidth = 0, u32MaxDieHeight = 0 }
local GRP_ATTR_BACK = { u32MaxW = 1920, u32MaxH = 1080, enPixFmt = "YUV_SEMIPLANAR_420", bIeEn = true,
                        bDciEn = false, bNrEn = true, bHistEn = false, bEsEn = true, enDieMode = "ON" }

describe("VPSS factories", function()
  it("refuse numbers out of range with one diagnostic line each and nil", function()
    local out, err = support.run([[
      require "tessel"
      local grp = Tessel.VPSS.GetGroup(0)
      print(Tessel.VPSS.GetGroup(256), Tessel.VPSS.GetGroup(-1), Tessel.VPSS.GetGroup(2^32),
            Tessel.VPSS.CreateGroup(300, {}), grp:GetChannel(4), grp:GetChannel(-1), grp:GetChannel(2^32))
    ]])
    assert.are.equal("nil\tnil\tnil\tnil\tnil\tnil\tnil\n", out)
    local group = { reporter = "GetGroup", message = "VPSS group id is out of range, valid range is [0,256)" }
    local channel = { reporter = "GetChannel", message = "VPSS channel ID is out of range, limit [0,4)" }
    assert.are.same({ group, group, group, group, channel, channel, channel }, support.diagnostics(err))
  end)

  it("make groups and channels that carry their address and limits", function()
    local grp = VPSS.GetGroup(12)
    local chn = grp:GetChannel(3)
    assert.are.same({ 7, 12, 0, 12, 4 }, { grp.MODID, grp.DID, grp.ID, grp.GroupID, grp.MaxChannels })
    assert.are.same({ 7, 12, 3 }, { chn.MODID, chn.DID, chn.ID })
    assert.are.same({ 256, 4 }, { VPSS.MaxGroups, VPSS.MaxChannelsPerGroup })
  end)
end)

describe("VPSS group ownership", function()
  before_each(fresh)

  local function destroyed() return #calls_named("HI_MPI_VPSS_DestroyGrp") end

  it("creates with the caller's table, or with no attributes at all", function()
    local grp = VPSS.CreateGroup(1, GRP_ATTR)
    assert.are.same({ 1, GRP_ATTR_RAW }, last_call("HI_MPI_VPSS_CreateGrp").args)
    assert.are.same(GRP_ATTR_BACK, grp:GetAttr())
    local bare = VPSS.CreateGroup(2)
    local sent = last_call("HI_MPI_VPSS_CreateGrp")
    assert.are.same({ 2, 2 }, { sent.n, sent.args[1] })
    assert.is_nil(sent.args[2])   -- a null pointer
    assert.are.equal(s32(0xA0078006), sent.ret)
    assert.are.equal(0, bare:Destroy())
  end)

  it("destroys a created group once, when its last owner goes", function()
    local grp = VPSS.CreateGroup(1, GRP_ATTR)
    local alias = grp
    grp = nil
    VPSS.GetGroup(1):Destroy()
    collectgarbage()
    collectgarbage()
    assert.are.equal(0, destroyed())
    alias = nil
    collectgarbage()
    collectgarbage()
    assert.are.equal(1, destroyed())
    assert.are.same({ 1 }, last_call("HI_MPI_VPSS_DestroyGrp").args)
  end)

  it("is refused while started, and ForceFreeGroup touches channel 0 only", function()
    local grp = VPSS.CreateGroup(5, GRP_ATTR)
    assert.are.equal(0, grp:Start())
    assert.are.equal(s32(0xA0078009), grp:Destroy())
    assert.are.equal(0, grp:Destroy())   -- no longer owned
    sim.clear()
    assert.are.equal(s32(0xA0078009), VPSS.ForceFreeGroup(5))
    local names = {}
    for _, c in ipairs(sim.calls()) do names[#names + 1] = c.name .. "(" .. table.concat(c.args, ",") .. ")" end
    assert.are.same({ "HI_MPI_VPSS_DisableChn(5,0)", "HI_MPI_VPSS_DisableChn(5,0)", "HI_MPI_VPSS_DisableChn(5,0)",
                      "HI_MPI_VPSS_DisableChn(5,0)", "HI_MPI_VPSS_DestroyGrp(5)" }, names)
    assert.are.same({ 0, 0 }, { grp:Stop(), VPSS.ForceFreeGroup(5) })
  end)

  it("is refused while bound to another module", function()
    local venc = Tessel.VENC.CreateChannel(2, {
      encoding = { type = "H264", attr = { u32MaxPicWidth = 352, u32MaxPicHeight = 288, u32BufSize = 352 * 288 * 2,
                                           u32PicWidth = 352, u32PicHeight = 288 } },
      bitrate = { mode = "H264CBR", attr = { u32Gop = 30, u32StatTime = 1, u32SrcFrmRate = 30,
                                             fr32DstFrmRate = 30, u32BitRate = 1024 } } })
    local grp = VPSS.CreateGroup(3, GRP_ATTR)
    assert.is_true(Tessel.SYS.Bind(grp:GetChannel(1), { "VENC", 0, 2 }))
    assert.are.equal(s32(0xA0078012), grp:Destroy())
    assert.is_true(Tessel.SYS.UnBind(grp:GetChannel(1), venc))
  end)
end)

-- object, setter, getter, table sent, platform form, table read back, failure texts
local structures = {
  { "group", "SetAttr", "GetAttr", GRP_ATTR, GRP_ATTR_RAW, GRP_ATTR_BACK, "VPSS_GRP_ATTR_S",
    "Fail to set VPSS group attributes", "Fail to get VPSS group attributes" },
  { "group", "SetParam", "GetParam",
    { u32Contrast = 8, u32DieStrength = 1, u32IeStrength = 2, u32SfStrength = 3, u32TfStrength = 4,
      u32CfStrength = 5, u32CTfStrength = 6, u32CvbsStrength = 7, u32DeMotionBlurring = 9 }, nil, nil,
    "VPSS_GRP_PARAM_S", "Set VPSS group parameter fail", "Fail to get VPSS group parameter" },
  { "channel", "SetAttr", "GetAttr",
    { bSpEn = true, bUVInvert = false, bBorderEn = 1, stBorder = { 2, 4, 6, 8 } },
    { bSpEn = 1, bUVInvert = 0, bBorderEn = 1,
      stBorder = { u32TopWidth = 2, u32BottomWidth = 4, u32LeftWidth = 6, u32RightWidth = 8, u32Color = 0 } },
    { bSpEn = true, bUVInvert = false, bBorderEn = true,
      stBorder = { u32TopWidth = 2, u32BottomWidth = 4, u32LeftWidth = 6, u32RightWidth = 8 } },
    "VPSS_CHN_ATTR_S", "Fail to set VPSS channel attributes", "Fail to get VPSS channel attributes" },
  { "channel", "SetParam", "GetParam",
    { u32SpStrength = 1, u32SfStrength = 2, u32TfStrength = 3, u32CfStrength = 4, u32DeMotionBlurring = 5 },
    nil, nil, "VPSS_CHN_PARAM_S", "Fail to set VPSS channel parameters", "Fail to get VPSS channel parameters" },
  { "channel", "SetMode", "GetMode",
    { enChnMode = "user", u32Width = 1280, u32Height = 720, bDouble = false,
      stFrameRate = { s32SrcFrmRate = 30, s32DstFrmRate = 25 },
      stAspectRatio = { enMode = "MANUAL", u32BgColor = 0xFF00, stVideoRect = { 0, 0, 1280, 720 } },
      enPixelFormat = "YUV_SEMIPLANAR_422", enCompressMode = "SEG" },
    { enChnMode = 1, u32Width = 1280, u32Height = 720, bDouble = 0,
      stFrameRate = { s32SrcFrmRate = 30, s32DstFrmRate = 25 },
      stAspectRatio = { enMode = 2, u32BgColor = 0xFF00,
                        stVideoRect = { s32X = 0, s32Y = 0, u32Width = 1280, u32Height = 720 } },
      enPixelFormat = 22, enCompressMode = 1 },
    { enChnMode = "USER", u32Width = 1280, u32Height = 720, bDouble = false,
      stFrameRate = { s32SrcFrmRate = 30, s32DstFrmRate = 25 },
      stAspectRatio = { enMode = "MANUAL", u32BgColor = 0xFF00,
                        stVideoRect = { s32X = 0, s32Y = 0, u32Width = 1280, u32Height = 720 } },
      enPixelFormat = "YUV_SEMIPLANAR_422", enCompressMode = "SEG" },
    "VPSS_CHN_MODE_S", "Fail to set VPSS channel mode", "Fail to get VPSS channel mode" },
}

describe("VPSS structures", function()
  before_each(fresh)

  it("go to the platform field by field and come back", function()
    local objects = { group = VPSS.CreateGroup(4, GRP_ATTR) }
    objects.channel = objects.group:GetChannel(2)
    for _, s in ipairs(structures) do
      local obj, set, get, value = objects[s[1]], s[2], s[3], s[4]
      assert.is_true(obj[set](obj, value), s[1] .. ":" .. set)
      local sent = sim.calls()[#sim.calls()]
      assert.are.same(s[5] or value, sent.args[#sent.args], s[1] .. ":" .. set)
      assert.are.same(s[6] or value, obj[get](obj), s[1] .. ":" .. get)
    end
  end)

  it("report conversion and platform failures with each method's text", function()
    local objects = { group = VPSS.GetGroup(9) }   -- never created
    objects.channel = objects.group:GetChannel(0)
    for _, s in ipairs(structures) do
      local obj, set, get = objects[s[1]], s[2], s[3]
      local ok, msg = obj[set](obj, "x")
      assert.is_nil(ok)
      assert.matches("^" .. s[7] .. " must be a table for structure convension %[@" .. set .. ": line %d+%]$", msg)
      ok, msg = obj[set](obj, {})
      assert.matches("^" .. s[8] .. " %[@" .. set .. ": line %d+ %- error=A0078005%]$", msg)
      ok, msg = obj[get](obj)
      assert.matches("^" .. s[9] .. " %[@" .. get .. ": line %d+ %- error=A0078005%]$", msg)
    end
  end)

  it("read the de-interlacing and channel modes by their own rules", function()
    local grp = VPSS.GetGroup(9)
    local chn = grp:GetChannel(0)
    local ok, msg = grp:SetAttr({ enDieMode = "maybe" })
    assert.matches("^Invalid VPSS DIE mode %[@SetAttr: line %d+%]$", msg)
    ok, msg = chn:SetMode({ enChnMode = true })
    assert.matches("^Invalid VPSS channel mode type %[@SetMode: line %d+%]$", msg)
    sim.clear()
    chn:SetMode({ enChnMode = "whatever" })
    assert.are.equal(0, last_call("HI_MPI_VPSS_SetChnMode").args[3].enChnMode)
    grp:SetAttr({ enDieMode = "NoDie" })
    assert.are.equal(0, last_call("HI_MPI_VPSS_SetGrpAttr").args[2].enDieMode)
  end)

  it("are judged by the simulated platform", function()
    local grp = VPSS.CreateGroup(1, { u32MaxW = 0, u32MaxH = 1080, enPixFmt = "YUV_SEMIPLANAR_420" })
    assert.are.equal(s32(0xA0078003), last_call("HI_MPI_VPSS_CreateGrp").ret)
    assert.matches("^largest width 0 outside %[%d+, %d+%]$", last_call("HI_MPI_VPSS_CreateGrp").reason)
    assert.is_nil(grp:GetChannel(0):GetMode())
    assert.are.equal("VPSS group 1 does not exist", last_call("HI_MPI_VPSS_GetChnMode").reason)
    local ok, msg = grp:Create({ u32MaxW = 1920, u32MaxH = 1080, enPixFmt = "RGB_888" })
    assert.matches("^Fail to create VPSS group %[@Create: line %d+ %- error=A0078008%]$", msg)
    assert.is_true(grp:Create(GRP_ATTR))
    ok, msg = grp:GetChannel(0):SetMode({ enChnMode = "USER", u32Width = 9000, u32Height = 720,
                                           enPixelFormat = "YUV_SEMIPLANAR_420" })
    assert.matches("error=A0078003%]$", msg)
  end)
end)

describe("VPSS group settings", function()
  local grp
  before_each(function()
    fresh()
    grp = VPSS.CreateGroup(2, GRP_ATTR)
    sim.clear()
  end)

  local RECT = { s32X = 16, s32Y = 8, u32Width = 640, u32Height = 480 }
  local ZERO_RECT = { s32X = 0, s32Y = 0, u32Width = 0, u32Height = 0 }

  it("crop with a flag, a coordinate mode and a rectangle", function()
    assert.is_true(grp:SetCrop(true, "abs", { 16, 8, 640, 480 }))
    assert.are.same({ bEnable = 1, enCropCoordinate = 1, stCropRect = RECT }, last_call("HI_MPI_VPSS_SetGrpCrop").args[2])
    assert.are.same({ true, "ABS", RECT }, { grp:GetCrop() })
    assert.is_true(grp:SetCrop(1, "Ratio", { 0, 0, 500, 500 }))
    assert.are.same({ true, "RATIO", { s32X = 0, s32Y = 0, u32Width = 500, u32Height = 500 } }, { grp:GetCrop() })
    assert.is_true(grp:SetCrop(false, "abs", "never read"))
    assert.are.same({ bEnable = 0, enCropCoordinate = 0, stCropRect = ZERO_RECT },
                    last_call("HI_MPI_VPSS_SetGrpCrop").args[2])
    local ok, msg = grp:SetCrop("yes", "abs", RECT)
    assert.matches("^Invalid arguments %[@SetCrop: line %d+%]$", msg)
    ok, msg = grp:SetCrop(true, "abs", { 1, 2 })
    assert.matches("^Invalid rect structure %[@SetCrop: line %d+%]$", msg)
    -- a number is the platform's own mode; names it does not know leave ratio mode
    for _, mode in ipairs({ { 7, 7 }, { "whole", 0 }, { {}, 0 } }) do
      sim.clear()
      grp:SetCrop(true, mode[1], RECT)
      assert.are.same({ 2, { bEnable = 1, enCropCoordinate = mode[2], stCropRect = RECT } }, sim.calls()[1].args)
    end
  end)

  it("size with a flag and a size, for the sizer and the prescaler alike", function()
    for _, p in ipairs({ { "SetSizer", "GetSizer", "HI_MPI_VPSS_SetGrpSizer", "bSizer", "stSize",
                           "Fail to set VPSS sizer" },
                         { "SetPreScale", "GetPreScale", "HI_MPI_VPSS_SetPreScale", "bPreScale", "stDestSize",
                           "Fail to set VPSS prescaling" } }) do
      local set, get, call, flag, size = p[1], p[2], p[3], p[4], p[5]
      assert.is_true(grp[set](grp, 1, { 1280, 720 }), set)
      assert.are.same({ [flag] = 1, [size] = { u32Width = 1280, u32Height = 720 } }, last_call(call).args[2])
      assert.are.same({ true, { u32Width = 1280, u32Height = 720 } }, { grp[get](grp) })
      assert.is_true(grp[set](grp, false, "never read"))
      assert.are.same({ [flag] = 0, [size] = { u32Width = 0, u32Height = 0 } }, last_call(call).args[2])
      local ok, msg = grp[set](grp)
      assert.matches("^Invalid arguments %[@" .. set .. ": line %d+%]$", msg)
      ok, msg = grp[set](grp, true, { 1280 })
      assert.matches("^Invalid fields %[@" .. set .. ": line %d+%]$", msg)
      ok, msg = grp[set](grp, true, { u32Width = 8192, u32Height = 720 })
      assert.matches("^" .. p[6] .. " %[@" .. set .. ": line %d+ %- error=A0078003%]$", msg)
    end
  end)

  it("take prescale modes by name, number, or neither", function()
    for _, case in ipairs({ { "vgs", 1, "OTHER" }, { "Default", 0, "DEFAULT" }, { 1, 1, "OTHER" } }) do
      assert.is_true(grp:SetPreScaleMode(case[1]))
      assert.are.same({ 2, case[2] }, last_call("HI_MPI_VPSS_SetPreScaleMode").args)
      assert.are.equal(case[3], grp:GetPreScaleMode())
    end
    for _, other in ipairs({ "VPSS2", true }) do
      grp:SetPreScaleMode(other)
      assert.are.equal(2, last_call("HI_MPI_VPSS_SetPreScaleMode").args[2])
    end
    local ok, msg = grp:SetPreScaleMode()
    assert.are.equal(2, last_call("HI_MPI_VPSS_SetPreScaleMode").args[2])
    assert.matches("^Fail to set VPSS group prescale mode %[@SetPreScaleMode: line %d+ %- error=A0078003%]$", msg)
  end)

  it("answer typed calls and multi-value getters", function()
    assert.are.same({ 30, 15 }, { (function() grp:SetFrameRate(30, 15) return grp:GetFrameRate() end)() })
    assert.are.same({ 2, { s32SrcFrmRate = 30, s32DstFrmRate = 15 } }, last_call("HI_MPI_VPSS_SetGrpFrameRate").args)
    assert.are.same({ 0, 5 }, { grp:SetDelay(5), grp:GetDelay() })
    assert.are.same({ 0, 0, 0, 0, 0 }, { grp:Reset(), grp:EnableBackupFrame(), grp:DisableBackupFrame(),
                                         grp:EnableUserFrameRateCtrl(), grp:DisableUserFrameRateCtrl() })
    assert.are.same({ nil, "TODO: not implemented yet" }, { grp:SetAdvancedParam({}) })
    assert.are.same({ nil, "TODO: not implemented yet" }, { grp:GetAdvancedParam() })
    local missing = VPSS.GetGroup(7)
    assert.are.equal(s32(0xA0078005), missing:GetDelay())
    for get, text in pairs({ GetFrameRate = "Fail to get VPSS group frame rate",
                             GetCrop = "Fail to get VPSS group cropping", GetSizer = "Fail to get VPSS group sizer",
                             GetPreScale = "Fail to get VPSS group prescaling",
                             GetPreScaleMode = "Fail to get VPSS group prescale mode" }) do
      assert.matches("^" .. text .. " %[@" .. get .. ": line %d+ %- error=A0078005%]$", select(2, missing[get](missing)))
    end
    assert.matches("^Fail to set VPSS group cropping %[@SetCrop: line %d+ %- error=A0078005%]$",
                   select(2, missing:SetCrop(false)))
  end)
end)

describe("VPSS channels", function()
  local chn
  before_each(function()
    fresh()
    chn = VPSS.CreateGroup(2, GRP_ATTR):GetChannel(1)
    sim.clear()
  end)

  it("read the depth back under GetDelay, and the overlay", function()
    assert.are.same({ 0, 0, 0 }, { chn:Enable(), chn:SetDepth(4), chn:SetOverlay(3) })
    assert.are.same({ 4, 3 }, { chn:GetDelay(), chn:GetOverlay() })
    assert.are.equal("HI_MPI_VPSS_GetDepth", calls_named("HI_MPI_VPSS_GetDepth")[1].name)
    assert.are.same({ s32(0xA0078003), 0 }, { chn:SetDepth(9), chn:Disable() })
    assert.are.equal(s32(0xA0078005), VPSS.GetGroup(8):GetChannel(0):GetDelay())
  end)

  it("turn rotation angles into overlay settings with their own result codes", function()
    for _, case in ipairs({ { -5, 0xFFFFFFFB }, { 3, 3 }, { 4, 1 }, { 90, 1 }, { 95, 2 }, { 180, 2 },
                            { 181, 3 }, { 270, 3 } }) do
      sim.clear()
      assert.are.equal(999, chn:SetRotate(case[1]), case[1])
      assert.are.same({ 2, 1, case[2] }, sim.calls()[1].args, case[1])
    end
    sim.clear()
    assert.are.equal(123456, chn:SetRotate(271))
    assert.are.same({}, sim.calls())
    assert.are.equal(321, VPSS.GetGroup(8):GetChannel(0):SetRotate(95))
  end)
end)
