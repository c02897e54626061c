-- Decoder channels: the factories and who stops or destroys the platform
-- channel, the attribute table whose member follows the payload, the
-- argument rules of the raw and typed methods, and the simulated decoder.
require "tessel"
local sim = require "tessel.sim"
local support = require "tests.lua.support"
local VDEC = Tessel.VDEC

local calls_named, last_call, fresh, s32, u32 = support.calls_named, support.last_call, support.fresh,
  support.s32, support.u32

local H264 = { enType = "H264", u32BufSize = 1920 * 1080 * 3 // 2, u32Priority = 5, u32PicWidth = 1920,
               u32PicHeight = 1080, attr = { u32RefFrameNum = 2, enMode = "frame", bTemporalMvpEnable = 1 } }
local JPEG = { enType = "JPEG", u32BufSize = 1920 * 1080, u32Priority = 5, u32PicWidth = 1920,
               u32PicHeight = 1080, attr = { enMode = "FRAME", enJpegFormat = "ycbcr420" } }

describe("VDEC channel factories", function()
  it("refuse numbers outside [0,64) under the name GetChannel, and report bad tables", function()
    local out, err = support.run([[
      require "tessel"
      print(Tessel.VDEC.GetChannel(64), Tessel.VDEC.CreateChannel(-1, {}))
      local chn = Tessel.VDEC.GetChannel(1)
      print(chn:Create(7))
      print(chn:Create({ enType = "H264", attr = { enMode = "sideways" } }))
      print(chn:Create({ enType = "H264", attr = 5 }))
    ]])
    local lines = {}
    for line in out:gmatch("[^\n]+") do lines[#lines + 1] = line end
    assert.are.equal("nil\tnil", lines[1])
    assert.matches("^nil\tInvalid VDEC channel creation attributes! %[@Create: line %d+%]$", lines[2])
    assert.matches("^nil\tInvalid video decoding mode %[@Create: line %d+%]$", lines[3])
    assert.matches("^nil\tVDEC_ATTR_VIDEO_S must be a table for structure convension %[@Create: line %d+%]$",
                   lines[4])
    local range = { reporter = "GetChannel", message = "Invalid VDEC channel ID. Valid range is [0,64)" }
    assert.are.same({ range, range,
                      { reporter = "Create", message = "Invalid VDEC channel creation attributes!" },
                      { reporter = "Create", message = "Fail to convert channel attributes: Invalid video decoding mode" },
                      { reporter = "Create", message = "Fail to convert channel attributes: "
                                                        .. "VDEC_ATTR_VIDEO_S must be a table for structure convension" },
                    }, support.diagnostics(err))
  end)

  it("return the channel even when the platform refused it", function()
    sim.reset()  -- no system: the decoder refuses
    local chn = VDEC.CreateChannel(4, H264)
    assert.are.same({ 5, 0, 4, 64 }, { chn.MODID, chn.DID, chn.ID, VDEC.MaxChannels })
    assert.are.equal(0xA0058010, u32(last_call("HI_MPI_VDEC_CreateChn").ret))
    local ok, msg = chn:Create(H264)
    assert.is_nil(ok)
    assert.matches("^Fail to create VDEC channel %[@Create: line %d+ %- error=A0058010%]$", msg)
  end)
end)

describe("VDEC channel ownership", function()
  before_each(fresh)

  it("lets only the creator destroy the channel; every object stops reception", function()
    local chn = VDEC.CreateChannel(2, H264)
    assert.are.equal(0, chn:Start())
    local other = VDEC.GetChannel(2)
    sim.clear()
    assert.are.equal(0, other:Destroy())
    assert.are.same({ 1, "HI_MPI_VDEC_StopRecvStream" }, { #sim.calls(), sim.calls()[1].name })
    other = nil
    collectgarbage()
    collectgarbage()
    assert.are.equal(0, #calls_named("HI_MPI_VDEC_DestroyChn"))
    assert.are.equal(2, #calls_named("HI_MPI_VDEC_StopRecvStream"))
    assert.are.equal(0, chn:Destroy())
    assert.are.equal(1, #calls_named("HI_MPI_VDEC_DestroyChn"))
    assert.are.equal(0, chn:Destroy())  -- only once
    assert.are.equal(1, #calls_named("HI_MPI_VDEC_DestroyChn"))
  end)

  it("destroys a created channel when its object is collected, and ForceFreeChannel frees any", function()
    VDEC.CreateChannel(6, H264)
    collectgarbage()
    collectgarbage()
    assert.are.equal(0, last_call("HI_MPI_VDEC_DestroyChn").ret)
    local owner = VDEC.CreateChannel(7, H264)
    assert.are.equal(0, VDEC.ForceFreeChannel(7))
    assert.are.equal(s32(0xA0058005), VDEC.ForceFreeChannel(7))
    assert.are.equal(s32(0xA0058002), VDEC.ForceFreeChannel(64))  -- no range check of its own
    assert.are.equal(7, owner.ID)
  end)
end)

describe("VDEC channel attributes", function()
  local keep
  before_each(function()
    fresh()
    keep = {}
  end)

  it("send the video member for video payloads and the picture member for JPEG", function()
    keep[1] = VDEC.CreateChannel(0, H264)
    local sent = last_call("HI_MPI_VDEC_CreateChn").args[2]
    assert.are.equal(96, sent.enType)
    assert.are.same({ u32RefFrameNum = 2, enMode = 1, bTemporalMvpEnable = 1 }, sent.stVdecVideoAttr)
    keep[2] = VDEC.CreateChannel(1, JPEG)
    sent = last_call("HI_MPI_VDEC_CreateChn").args[2]
    assert.are.same({ enMode = 1, enJpegFormat = 1 }, sent.stVdecJpegAttr)
    assert.are.same({ enType = "JPEG", u32BufSize = 1920 * 1080, u32Priority = 5, u32PicWidth = 1920,
                      u32PicHeight = 1080, attr = { enMode = "FRAME", enJpegFormat = "YCBCR420" } },
                    keep[2]:GetAttr())
    assert.are.same({ u32RefFrameNum = 2, enMode = "FRAME", bTemporalMvpEnable = true }, keep[1]:GetAttr().attr)
  end)

  it("take parameters and protocol parameters as tables, zeroing what the table form lacks", function()
    local chn = VDEC.CreateChannel(0, H264)
    keep[1] = chn
    assert.is_true(chn:SetParam({ s32DisplayFrameNum = 3, s32ChanErrThr = 10, enVideoFormat = "TILE",
                                  enCompressMode = "SEG", u32RefFrameNum = 9 }))
    local sent = last_call("HI_MPI_VDEC_SetChnParam").args[2]
    assert.are.same({ 3, 10, 1, 1, 0 }, { sent.s32DisplayFrameNum, sent.s32ChanErrThr, sent.enVideoFormat,
                                          sent.enCompressMode, sent.u32RefFrameNum })
    assert.are.same({ s32DisplayFrameNum = 3, s32ChanErrThr = 10, s32ChanStrmOFThr = 0, s32DecMode = 0,
                      s32DecOrderOutput = 0, enVideoFormat = "TILE", enCompressMode = "SEG" }, chn:GetParam())
    assert.is_true(chn:SetProtocolParam({ type = "H264", param = { s32MaxSliceNum = 8, s32MaxSpsNum = 1,
                                                                  s32MaxPpsNum = 4 } }))
    assert.are.same({ type = "H264", param = { s32MaxSliceNum = 8, s32MaxSpsNum = 1, s32MaxPpsNum = 4 } },
                    chn:GetProtocolParam())
    -- protocol parameters of another payload than the channel's
    local ok, msg = chn:SetProtocolParam({ type = "H265", param = { s32MaxSliceSegmentNum = 8, s32MaxVpsNum = 1,
                                                                     s32MaxSpsNum = 1, s32MaxPpsNum = 1 } })
    assert.is_nil(ok)
    assert.matches("^Fail to set VDEC channel protocol parameters %[@SetProtocolParam: line %d+ %- error=A0058003%]$",
                   msg)
    ok, msg = chn:SetParam(3)
    assert.is_nil(ok)
    assert.matches("^INvalid VDEC channel parameters %[@SetParam: line %d+%]$", msg)
    ok, msg = chn:SetProtocolParam("H264")
    assert.matches("^INvalid VDEC channel protocol parameters %[@SetProtocolParam: line %d+%]$", msg)
    ok, msg = chn:SetParam({ s32DecMode = 7 })
    assert.matches("^Fail to set VDEC channel parameters %[@SetParam: line %d+ %- error=A0058003%]$", msg)
  end)

  it("answer nil and the failure for a channel the platform does not have", function()
    local chn = VDEC.GetChannel(9)
    for _, case in ipairs({
      { "Query", "Fail to query VDEC channel status" },
      { "GetAttr", "Fail to get VDEC channel attributes" },
      { "GetParam", "Fail to get VDEC channel parameters" },
      { "GetProtocolParam", "Fail to get VDEC channel protocol parameters" },
      { "GetDisplayMode", "Fail to get VDEC channel display mode" },
      { "DisableUserPic", "Fail to disable user PIC" },
    }) do
      local ok, msg = chn[case[1]](chn)
      assert.is_nil(ok)
      assert.matches("^" .. case[2] .. " %[@" .. case[1] .. ": line %d+ %- error=A0058005%]$", msg)
    end
    assert.are.same({ s32(0xA0058005), s32(0xA0058005) }, { chn:GetRotate(), chn:GetVBCnt() })
  end)
end)

describe("VDEC channel settings", function()
  local chn
  before_each(function()
    fresh()
    chn = VDEC.CreateChannel(3, H264)
    sim.clear()
  end)

  it("map rotation arguments to the platform's codes and back to degrees", function()
    local sent = {}
    for _, deg in ipairs({ 2, 45, 90, 91, 270, -5 }) do
      chn:SetRotate(deg)
      sent[#sent + 1] = last_call("HI_MPI_VDEC_SetRotate").args[2]
      sim.clear()
    end
    assert.are.same({ 2, 1, 1, 2, 3, u32(-5) }, sent)
    assert.are.equal(0, chn:SetRotate(271))
    assert.are.equal(0, #sim.calls())
    assert.are.equal(0, chn:SetRotate(180))
    assert.are.equal(180, chn:GetRotate())
  end)

  it("read the display mode from a name in any case, a number, or anything else as preview", function()
    local sent = {}
    for _, mode in ipairs({ "playback", "Preview", "other", true, 1 }) do
      assert.is_true(chn:SetDisplayMode(mode))
      sent[#sent + 1] = last_call("HI_MPI_VDEC_SetDisplayMode").args[2]
    end
    assert.are.same({ 1, 0, 0, 0, 1 }, sent)
    assert.are.equal("PLAYBACK", chn:GetDisplayMode())
    local ok, msg = chn:SetDisplayMode(9)
    assert.is_nil(ok)
    assert.matches("^Fail to set VDEC channel display mode %[@SetDisplayMode: line %d+ %- error=A0058003%]$", msg)
  end)

  it("keep placeholders silent and pass flags, counts and pools through", function()
    assert.are.equal(0, select("#", chn:GetUserData(1, 2)))
    assert.are.equal(0, select("#", chn:SetUserPic({})))
    assert.are.equal(0, #sim.calls())
    local ok, msg = chn:EnableUserPic()  -- no user picture was set
    assert.is_nil(ok)
    assert.matches("^Fail to enable user PIC %[@EnableUserPic: line %d+ %- error=A0058009%]$", msg)
    chn:EnableUserPic("yes")
    assert.are.same({ 0, 1 }, { calls_named("HI_MPI_VDEC_EnableUserPic")[1].args[2],
                                calls_named("HI_MPI_VDEC_EnableUserPic")[2].args[2] })
    assert.is_true(chn:DisableUserPic())
    assert.are.equal(5, chn:GetVBCnt())  -- reference frames, display frames, one more
    assert.are.equal(0, chn:SetVBCnt(8))
    assert.are.equal(8, chn:GetVBCnt())
    assert.are.equal(0, chn:AttachVbPool(4, 5))
    assert.are.same({ hPicVbPool = 4, hPmvVbPool = 5 }, last_call("HI_MPI_VDEC_AttachVbPool").args[2])
    assert.are.same({ 0, 0 }, { chn:DetachVbPool(), chn:DetachVbPool() })  -- the second with a finding
    assert.are.equal("detach-not-attached", sim.check()[1].rule)
  end)
end)

describe("the simulated decoder", function()
  local keep
  before_each(function()
    fresh()
    keep = nil
  end)

  it("judges payloads, sizes and reference frames as the decoder does", function()
    local function status(t)
      keep = VDEC.CreateChannel(10, t)
      local ret = u32(last_call("HI_MPI_VDEC_CreateChn").ret)
      if ret == 0 then keep:Destroy() end
      return ret
    end
    local function with(changes)
      local t = {}
      for k, v in pairs(H264) do t[k] = v end
      for k, v in pairs(changes) do t[k] = v end
      return t
    end
    assert.are.equal(0, status(H264))
    assert.are.equal(0, status(with({ enType = "H265" })))
    assert.are.equal(0xA0058008, status(with({ enType = "AAC" })))
    assert.are.equal(0xA0058003, status(with({ u32PicWidth = 8192 })))
    assert.are.equal(0xA0058003, status(with({ u32BufSize = 1000 })))
    assert.are.equal(0xA0058003, status(with({ attr = { u32RefFrameNum = 17 } })))
    assert.are.equal("reference frame count 17 outside [0, 16]", last_call("HI_MPI_VDEC_CreateChn").reason)
  end)

  it("keeps a receiving channel, and one that feeds another, from being destroyed", function()
    local chn = VDEC.CreateChannel(0, H264)
    keep = chn
    assert.are.equal(0, chn:Start())
    assert.is_true(chn:Query().bStartRecvStream)
    assert.are.equal(s32(0xA0058009), chn:Reset())
    chn:Stop()
    assert.is_false(chn:Query().bStartRecvStream)
    local group = Tessel.VPSS.CreateGroup(0, { u32MaxW = 1920, u32MaxH = 1080, enPixFmt = "YUV_SEMIPLANAR_420",
                                               enDieMode = "yes" })
    assert.is_true(Tessel.SYS.Bind(chn, group:GetChannel(0)))
    assert.matches('"5_0_0" [label="VDEC 0/0"', sim.dot(), 1, true)
    assert.matches('"5_0_0" -> "7_0_0"', sim.dot(), 1, true)
    -- the refused Destroy still gives up ownership: the channel stays until freed
    assert.are.equal(s32(0xA0058012), chn:Destroy())
    assert.is_true(Tessel.SYS.UnBind(chn, group:GetChannel(0)))
    assert.are.equal(0, chn:Destroy())
    assert.are.equal(0, VDEC.ForceFreeChannel(0))
    local ok, msg = Tessel.SYS.Bind(chn, group:GetChannel(0))
    assert.is_nil(ok)
    assert.matches("error=A0058005%]$", msg)
  end)

  it("keeps module parameters while no channel exists", function()
    assert.is_true(VDEC.SetModParam({ u32MiniBufMode = 1, u32VBSource = 2 }))
    assert.are.same({ u32MiniBufMode = 1, u32VBSource = 2 }, VDEC.GetModParam())
    keep = VDEC.CreateChannel(0, H264)
    local ok, msg = VDEC.SetModParam({ u32MiniBufMode = 0 })
    assert.is_nil(ok)
    assert.matches("^Fail to set VDEC mod parameters %[@SetModParam: line %d+ %- error=A0058009%]$", msg)
    sim.fail("HI_MPI_VDEC_GetModParam", 0xA0058010)
    ok, msg = VDEC.GetModParam()
    assert.matches("^Fail to set VDEC mod parameters %[@GetModParam: line %d+ %- error=A0058010%]$", msg)
  end)
end)
