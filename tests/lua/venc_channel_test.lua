-- Encoder channels: the factories and who destroys the platform channel, the
-- tuning structures through their setters and getters, the argument rules of
-- the raw methods, placeholders, and the module parameters.
require "tessel"
local sim = require "tessel.sim"
local support = require "tests.lua.support"
local VENC = Tessel.VENC

local calls_named, last_call, fresh, s32 = support.calls_named, support.last_call, support.fresh, support.s32

local ATTRS = {
  encoding = { type = "H264", attr = { u32MaxPicWidth = 1920, u32MaxPicHeight = 1080, u32BufSize = 4147200,
                                       u32Profile = 1, bByFrame = true, u32PicWidth = 1920, u32PicHeight = 1080 } },
  bitrate = { mode = "H264CBR", attr = { u32Gop = 30, u32StatTime = 1, u32SrcFrmRate = 30,
                                         fr32DstFrmRate = 30, u32BitRate = 4096, u32FluctuateLevel = 0 } },
}

describe("VENC channel factories", function()
  it("refuse numbers outside [0,128) with one diagnostic line and nil", function()
    local out, err = support.run([[
      require "tessel"
      print(Tessel.VENC.GetChannel(128), Tessel.VENC.CreateChannel(-1, {}))
    ]])
    assert.are.equal("nil\tnil\n", out)
    local expected = { reporter = "GetChannel", message = "Invalid VENC channel ID. Valid range is [0,128)" }
    assert.are.same({ expected, expected }, support.diagnostics(err))
  end)

  it("make channel objects that carry their address and limits", function()
    local chn = VENC.GetChannel(127)
    assert.are.same({ 8, 0, 127, 8, 128 }, { chn.MODID, chn.DID, chn.ID, chn.MaxROIs, VENC.MaxChannels })
    assert.is_false(VENC.GetChannel(5) == VENC.GetChannel(5))
  end)
end)

describe("VENC channel ownership", function()
  before_each(fresh)

  local function destroyed() return #calls_named("HI_MPI_VENC_DestroyChn") end

  it("destroys a created channel once, when its last owner is collected", function()
    local chn = VENC.CreateChannel(3, ATTRS)
    local alias = chn
    chn = nil
    collectgarbage()
    collectgarbage()
    assert.are.equal(0, destroyed())
    alias = nil
    collectgarbage()
    collectgarbage()
    assert.are.same({ 3 }, calls_named("HI_MPI_VENC_DestroyChn")[1].args)
    assert.are.equal(1, destroyed())
  end)

  it("never destroys through a wrapper that did not create", function()
    local chn = VENC.CreateChannel(3, ATTRS)
    VENC.GetChannel(3):Destroy()
    VENC.CreateChannel(4, "not a table")   -- returned all the same, owning nothing
    VENC.CreateChannel(3, ATTRS)           -- refused: the channel exists
    collectgarbage()
    collectgarbage()
    assert.are.equal(0, destroyed())
    assert.is_not_nil(chn:GetAttr())
  end)

  it("destroys on Destroy once, and a refused destroy is not retried", function()
    local chn = VENC.CreateChannel(3, ATTRS)
    assert.are.same({ 0, 0 }, { chn:Destroy(), chn:Destroy() })
    assert.are.equal(1, destroyed())
    chn = VENC.CreateChannel(3, ATTRS)
    assert.are.equal(0, chn:Start())
    assert.are.equal(s32(0xA0088009), chn:Destroy())   -- still receiving
    chn = nil
    collectgarbage()
    collectgarbage()
    assert.are.equal(2, destroyed())
    assert.are.equal(0, VENC.ForceFreeChannel(3))
    assert.are.same({ "HI_MPI_VENC_StopRecvPic", "HI_MPI_VENC_DestroyChn" },
                    { sim.calls()[#sim.calls() - 1].name, sim.calls()[#sim.calls()].name })
  end)
end)

-- setter, getter, table sent, platform form, table read back, failure texts
local tuning = {
  { "SetH264SliceSplit", "GetH264SliceSplit", { bSplitEnable = true, u32SplitMode = 1, u32SliceSize = 4 },
    { bSplitEnable = 1, u32SplitMode = 1, u32SliceSize = 4 }, nil,
    "VENC_PARAM_H264_SLICE_SPLIT_S", "H264 slice split" },
  { "SetH264InterPred", "GetH264InterPred",
    { u32HWSize = 3, u32VWSize = 2, bInter16x16PredEn = true, bInter16x8PredEn = false,
      bInter8x16PredEn = 1, bInter8x8PredEn = true, bExtedgeEn = false },
    { u32HWSize = 3, u32VWSize = 2, bInter16x16PredEn = 1, bInter16x8PredEn = 0,
      bInter8x16PredEn = 1, bInter8x8PredEn = 1, bExtedgeEn = 0 },
    { u32HWSize = 3, u32VWSize = 2, bInter16x16PredEn = true, bInter16x8PredEn = false,
      bInter8x16PredEn = true, bInter8x8PredEn = true, bExtedgeEn = false },
    "VENC_PARAM_H264_INTER_PRED_S", "H264 interpred" },
  { "SetH264IntraPred", "GetH264IntraPred",
    { bIntra16x16PredEn = true, bIntraNxNPredEn = false, constrained_intra_pred_flag = 1, bIpcmEn = true },
    { bIntra16x16PredEn = 1, bIntraNxNPredEn = 0, constrained_intra_pred_flag = 1, bIpcmEn = 1 }, nil,
    "VENC_PARAM_H264_INTRA_PRED_S", "H264 intrapred" },
  { "SetH264Dblk", "GetH264Dblk",
    { disable_deblocking_filter_idc = 2, slice_alpha_c0_offset_div2 = -3, slice_beta_offset_div2 = 4 },
    { disable_deblocking_filter_idc = 2, slice_alpha_c0_offset_div2 = -3, slice_beta_offset_div2 = 4 }, nil,
    "VENC_PARAM_H264_DBLK_S", "H264 de-block" },
  { "SetRefParam", "GetRefParam", { u32Base = 2, u32Enhance = 3, bEnablePred = false },
    { u32Base = 2, u32Enhance = 3, bEnablePred = 0 }, nil, "VENC_PARAM_REF_S", "ref parameters" },
  { "SetFrameRate", "GetFrameRate", { s32SrcFrmRate = 30, s32DstFrmRate = 15 },
    { s32SrcFrmRate = 30, s32DstFrmRate = 15 }, nil, "VENC_FRAME_RATE_S", "frame-rate" },
  { "SetRoiBgFrameRate", "GetRoiBgFrameRate", { s32SrcFrmRate = 25, s32DstFrmRate = 5 },
    { s32SrcFrmRate = 25, s32DstFrmRate = 5 }, nil, "VENC_ROIBG_FRAME_RATE_S", "ROI background frame-rate",
    "Fail to get VENC channel ROI backgroup frame-rate" },
  { "SetFrameLostStrategy", "GetFrameLostStrategy",
    { bFrmLostOpen = true, u32FrmLostBpsThr = 2048, enFrmLostMode = "skip", u32EncFrmGaps = 3 },
    { bFrmLostOpen = 1, u32FrmLostBpsThr = 2048, enFrmLostMode = 1, u32EncFrmGaps = 3 },
    { bFrmLostOpen = true, u32FrmLostBpsThr = 2048, enFrmLostMode = "PSKIP", u32EncFrmGaps = 3 },
    "VENC_PARAM_FRAMELOST_S", "frame-lost strategy", "fail to get VENC channel frame-lost strategy" },
  { "SetRoiCfg", "GetRoiCfg",
    { u32Index = 7, bEnable = true, bAbsQp = false, s32Qp = -4, stRect = { 16, 32, 64, 48 } },
    { u32Index = 7, bEnable = 1, bAbsQp = 0, s32Qp = -4, stRect = { s32X = 16, s32Y = 32, u32Width = 64, u32Height = 48 } },
    { u32Index = 7, bEnable = true, bAbsQp = false, s32Qp = -4,
      stRect = { s32X = 16, s32Y = 32, u32Width = 64, u32Height = 48 } },
    "VENC_ROI_CFG_S", "ROI config" },
}

describe("VENC channel tuning", function()
  before_each(fresh)

  it("sends each structure field by field and reads it back", function()
    local chn = VENC.CreateChannel(2, ATTRS)
    for _, t in ipairs(tuning) do
      local set, get, value, platform, back = t[1], t[2], t[3], t[4], t[5] or t[3]
      assert.is_true(chn[set](chn, value), set)
      local sent = last_call("HI_MPI_VENC_" .. set)
      assert.are.same({ 2, platform }, sent.args, set)
      assert.are.same(back, chn[get](chn, value.u32Index), get)
    end
  end)

  it("reports conversion and platform failures with each method's text", function()
    local chn = VENC.GetChannel(6)   -- never created
    for _, t in ipairs(tuning) do
      local set, get, type_, what = t[1], t[2], t[6], t[7]
      local ok, msg = chn[set](chn, 7)
      assert.is_nil(ok)
      assert.are.equal(type_ .. " must be a table for structure convension [@" .. set .. ": line ",
                       msg:match("^.-line "), set)
      ok, msg = chn[set](chn, {})
      assert.matches("^Fail to set VENC channel " .. what:gsub("%-", "%%-") .. " %[@" .. set ..
                     ": line %d+ %- error=A0088005%]$", msg)
      ok, msg = chn[get](chn, 0)
      local text = (t[8] or "Fail to get VENC channel " .. what):gsub("%-", "%%-")
      assert.matches("^" .. text .. " %[@" .. get .. ": line %d+ %- error=A0088005%]$", msg)
    end
  end)

  it("judges ROI indices on the platform, not in the module", function()
    local chn = VENC.CreateChannel(2, ATTRS)
    local ok, msg = chn:GetRoiCfg("0")
    assert.matches("^Invalid ROI index %[@GetRoiCfg: line %d+%]$", msg)
    ok, msg = chn:GetRoiCfg(9)
    assert.matches("error=A0088003%]$", msg)
    assert.are.same({ 2, 9 }, last_call("HI_MPI_VENC_GetRoiCfg").args)
    assert.error_matches(function() chn:GetRoiCfg(1.5) end, "bad argument #1 to 'GetRoiCfg' %(number has no integer")
    ok, msg = chn:SetRoiCfg({ u32Index = 8 })
    assert.matches("error=A0088003%]$", msg)
  end)
end)

describe("VENC channel arguments", function()
  local chn
  before_each(function()
    fresh()
    chn = VENC.CreateChannel(1, ATTRS)
    sim.clear()
  end)

  it("reads crop and IDR flags as booleans or nonzero numbers", function()
    local zero = { s32X = 0, s32Y = 0, u32Width = 0, u32Height = 0 }
    assert.is_true(chn:SetCrop(false, "ignored"))
    assert.are.same({ bEnable = 0, stRect = zero }, last_call("HI_MPI_VENC_SetCrop").args[2])
    assert.is_true(chn:SetCrop())
    assert.is_true(chn:SetCrop(1, { 16, 8, 640, 480 }))
    assert.are.same({ true, { s32X = 16, s32Y = 8, u32Width = 640, u32Height = 480 } }, { chn:GetCrop() })
    local ok, msg = chn:SetCrop(true, "x")
    assert.matches("^Invalid rect structure %[@SetCrop: line %d+%]$", msg)

    for _, case in ipairs({ { "yes", 0 }, { 2, 1 }, { true, 1 }, { nil, 0 } }) do
      assert.is_true(chn:RequestIDR(case[1]))
      assert.are.equal(case[2], last_call("HI_MPI_VENC_RequestIDR").args[2])
    end
    assert.error_matches(function() chn:RequestIDR(0.5) end, "number has no integer representation")

    local missing = VENC.GetChannel(9)
    for _, case in ipairs({ { "SetCrop", "Fail to set VENC channel crop" },
                            { "GetCrop", "fail to get VENC channel crop" },
                            { "RequestIDR", "Fail to request IDR" } }) do
      assert.matches("^" .. case[2] .. " %[@" .. case[1] .. ": line %d+ %- error=A0088005%]$",
                     select(2, missing[case[1]](missing)))
    end
  end)

  it("takes IDR picture-id modes by name or number", function()
    assert.is_true(chn:SetH264IdrPicId("usr", 5))
    assert.are.same({ "USR", 5 }, { chn:GetH264IdrPicId() })
    assert.is_true(chn:SetH264IdrPicId("Auto"))
    assert.are.same({ enH264eIdrPicIdMode = 0, u32H264eIdrPicId = 0 },
                    last_call("HI_MPI_VENC_SetH264IdrPicId").args[2])
    assert.are.same({ "AUTO", 0 }, { chn:GetH264IdrPicId() })
    local ok, msg = chn:SetH264IdrPicId(7, 1)   -- a raw mode the platform refuses
    assert.matches("^Fail to set VENC idr_pic_id %[@SetH264IdrPicId: line %d+ %- error=A0088003%]$", msg)
    assert.error_matches(function() chn:SetH264IdrPicId(0.5) end,
                         "bad argument #1 to 'SetH264IdrPicId' %(number has no integer")
    for _, mode in ipairs({ "manual", false }) do
      ok, msg = chn:SetH264IdrPicId(mode, 1)
      assert.matches("^Invalid VENC idr_pic_id mode %[@SetH264IdrPicId: line %d+%]$", msg)
    end
    ok, msg = VENC.GetChannel(2):GetH264IdrPicId()
    assert.matches("^Fail to get VENC idr_pic_id %[@GetH264IdrPicId: line %d+ %- error=A0088005%]$", msg)
  end)

  it("passes user data with its zero bytes and refuses anything but a string", function()
    assert.is_true(chn:InsertUserData("ab\0cd\0"))
    assert.are.equal(6, last_call("HI_MPI_VENC_InsertUserData").args[3])
    local ok, msg = chn:InsertUserData(12)
    assert.matches("^Invalid user data %[@InsertUserData: line %d+%]$", msg)
    ok, msg = chn:InsertUserData("")
    assert.matches("^Fail to insert VENC user data %[@InsertUserData: line %d+ %- error=A0088003%]$", msg)
  end)

  it("answers typed calls with the platform's code or value", function()
    assert.are.equal(3, chn:GetMaxStreamCnt())
    assert.are.equal(0, chn:SetMaxStreamCnt(5))
    assert.are.equal(5, chn:GetMaxStreamCnt())
    assert.are.equal(s32(0xA0088005), VENC.GetChannel(9):GetMaxStreamCnt())
    assert.is_false(chn:GetColor2Grey())
    assert.are.equal(0, chn:SetColor2Grey(true))
    assert.is_true(chn:GetColor2Grey())
    assert.is_false(VENC.GetChannel(9):GetColor2Grey())
    assert.are.equal(0, chn:StartEx(10))
    assert.are.equal(10, chn:Query().u32LeftRecvPics)
    assert.are.same({ 0, 0, 0, 0 }, { chn:Stop(), chn:Reset(), chn:EnableIDR(true), chn:AttachVbPool(-1) })
    assert.are.same({ 1, 0xFFFFFFFF }, last_call("HI_MPI_VENC_AttachVbPool").args)
    assert.are.same({ 0, 0 }, { chn:DetachVbPool(), chn:DetachVbPool() })  -- the second with a finding
    assert.are.equal("detach-not-attached", sim.check()[1].rule)
    local fd = chn:GetFd()
    assert.is_true(fd > 2)                          -- a descriptor of its own
    assert.are.equal(fd, chn:GetFd())
    assert.are.equal(0, chn:CloseFd())
    local ok, msg = VENC.GetChannel(9):Query()
    assert.matches("^Fail to query VENC channel status %[@Query: line %d+ %- error=A0088005%]$", msg)
  end)

  it("keeps placeholders that do nothing, and refuses rate-control priority", function()
    for _, name in ipairs({ "SetH264Trans", "GetH264Trans", "SetH264Entropy", "GetH264Entropy", "SetH264Poc",
                            "GetH264Poc", "SetH264Vui", "GetH264Vui", "SetJpegParam", "GetJpegParam",
                            "SetMjpegParam", "GetMjpegParam", "GetRcParam", "SetRcParam", "SetRefParamEx",
                            "GetRefParamEx", "SetSuperFrameCfg", "GetSuperFrameCfg" }) do
      assert.are.equal(0, select("#", chn[name](chn, {}, 1)), name)
    end
    assert.are.same({ nil, "Unsupport feature" }, { chn:SetRcPriority(1) })
    assert.are.same({ nil, "Unsupport feature" }, { chn:GetRcPriority() })
    assert.are.same({}, sim.calls())
  end)
end)

describe("VENC module parameters", function()
  before_each(fresh)

  it("send the member the type selects, before any channel exists", function()
    local options = { u32OneStreamBuffer = 1, u32H264eVBSource = 2, u32H264eRcnEqualRef = 1, u32H264eMiniBufMode = 1 }
    assert.is_true(VENC.SetModParam({ type = "h264", options = options }))
    local sent = last_call("HI_MPI_VENC_SetModParam").args[1]
    assert.are.equal(2, sent.enVencModType)
    for k, v in pairs(options) do assert.are.equal(v, sent.stH264eModParam[k], k) end
    assert.is_true(VENC.SetModParam({ type = "JPEG", options = { u32OneStreamBuffer = 1, u32JpegeMiniBufMode = 1 } }))
    assert.are.same({ u32OneStreamBuffer = 1, u32JpegeMiniBufMode = 1 },
                    last_call("HI_MPI_VENC_SetModParam").args[1].stJpegeModParam)

    -- An unknown name stores the end value and ignores the options; the platform refuses it.
    local ok, msg = VENC.SetModParam({ type = "MPEG4", options = options })
    assert.are.same({ enVencModType = 6 }, last_call("HI_MPI_VENC_SetModParam").args[1])
    assert.matches("^Fail to set VENC mod parameters %[@SetModParam: line %d+ %- error=A0088003%]$", msg)

    VENC.CreateChannel(0, ATTRS)
    ok, msg = VENC.SetModParam({ type = "VENC", options = { u32VencBufferCache = 1 } })
    assert.matches("error=A0088009%]$", msg)
  end)

  it("refuse bad tables, and read back with no module type chosen", function()
    local ok, msg = VENC.SetModParam(5)
    assert.matches("^Invalid VENC mod parameters %[@SetModParam: line %d+%]$", msg)
    ok, msg = VENC.SetModParam({ type = true })
    assert.matches("^Invalid VENC mode type %[@SetModParam: line %d+%]$", msg)
    ok, msg = VENC.SetModParam()
    assert.matches("^Invalid VENC mod parameters", msg)
    -- The table is the last value given, whatever comes before it.
    ok, msg = VENC.SetModParam({ type = "VENC", options = { u32VencBufferCache = 1 } }, 5)
    assert.matches("^Invalid VENC mod parameters", msg)
    -- The request goes out zeroed, which names no module type.
    ok, msg = VENC.GetModParam()
    assert.matches("^Fail to set VENC mod parameters %[@GetModParam: line %d+ %- error=A0088003%]$", msg)
  end)
end)
