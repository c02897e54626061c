-- Capture devices and channels: the device attributes ConfigMode builds from
-- a mode name, who disables what, the channel attribute tables and their
-- failure forms, the typed getters, and the simulated capture unit.
require "tessel"
local sim = require "tessel.sim"
local support = require "tests.lua.support"
local VI = Tessel.VI

local last_call, calls_named, fresh, s32 = support.last_call, support.calls_named, support.fresh, support.s32

local ATTR = { stCapRect = { s32X = 0, s32Y = 0, u32Width = 1920, u32Height = 1080 },
               stDestSize = { u32Width = 1280, u32Height = 720 }, enCapSel = "both", enScanMode = "Progressive",
               enPixFormat = "YUV_SEMIPLANAR_420", bMirror = true, bFlip = 0, s32SrcFrameRate = 30,
               s32DstFrameRate = 25 }

-- A device configured and enabled, and one of its channels with attributes.
local function capture(dev, chn)
  local device = VI.GetDevice(dev)
  assert(device:ConfigMode("BT656"))
  assert(device:Enable() == 0)
  local channel = device:GetChannel(chn)
  assert(channel:SetAttr(ATTR))
  return device, channel
end

describe("VI.GetDevice and ConfigMode", function()
  before_each(fresh)

  it("build the device attributes from a mode name, case ignored, per device", function()
    local function sent(dev, mode, options)
      assert.is_true(VI.GetDevice(dev):ConfigMode(mode, options))
      return last_call("HI_MPI_VI_SetDevAttr").args[2]
    end
    local a = sent(1, "bt1120")
    assert.are.same({ 3, 0, { 0x00FF0000, 0x00FF0000 }, { -1, -1, -1, -1 } },
                    { a.enIntfMode, a.enWorkMode, a.au32CompMask, a.s32AdChnId })
    assert.are.same({ 0x000000FF, 0x00FF0000 }, sent(3, "BT1120").au32CompMask)
    a = sent(6, "D1_4MUX")
    assert.are.same({ 0, 2, { 0xFF000000, 0 }, 0, 0 },
                    { a.enIntfMode, a.enWorkMode, a.au32CompMask, a.enDataSeq, a.enClkEdge })
    a = sent(0, "camera", { YUVSeq = "yvyu", ClkEdge = "DOUBLE" })
    assert.are.same({ 2, 3, 2 }, { a.enIntfMode, a.enDataSeq, a.enClkEdge })
    a = sent(0, "D1_2MUX", { YUVSeq = "VYUY", ClkEdge = 7 })
    assert.are.same({ 1, 1, 0, 0 }, { a.enWorkMode, a.enDataSeq, a.enClkEdge, a.bDataRev })
  end)

  it("refuses what is no mode name, and reports the platform's refusal", function()
    local device = VI.GetDevice(0)
    for _, mode in ipairs({ 5, "BT657" }) do
      local ok, msg = device:ConfigMode(mode)
      assert.is_nil(ok)
      assert.matches("^Invalid VIN mode %[@ConfigMode: line %d+%]$", msg)
    end
    local ok, msg = VI.GetDevice(9):ConfigMode("BT656")  -- no range check of the module's own
    assert.is_nil(ok)
    assert.matches("^Fail to set device attributes %[@ConfigMode: line %d+ %- error=A0108001%]$", msg)
    assert.are.same({ 4, 16 }, { VI.MaxDevices, device.MaxChannels })
  end)
end)

describe("VI object lifetimes", function()
  before_each(fresh)

  it("disable a device whenever a device object goes, and a channel unless Destroy did", function()
    local device, channel = capture(0, 2)
    assert.are.same({ 16, 0, 2 }, { channel.MODID, channel.DID, channel.ID })
    assert.are.equal(0, channel:Enable())
    sim.clear()
    channel:Destroy()
    channel:Destroy()
    assert.are.equal(1, #calls_named("HI_MPI_VI_DisableChn"))
    channel = nil
    device:GetChannel(3)  -- dropped at once
    collectgarbage()
    collectgarbage()
    assert.are.same({ 2, 3 }, { calls_named("HI_MPI_VI_DisableChn")[1].args[1],
                                calls_named("HI_MPI_VI_DisableChn")[2].args[1] })
    assert.are.equal(0, #calls_named("HI_MPI_VI_DisableDev"))
    device = nil
    VI.GetDevice(5)
    collectgarbage()
    collectgarbage()
    local disabled = {}
    for _, c in ipairs(calls_named("HI_MPI_VI_DisableDev")) do disabled[#disabled + 1] = c.args[1] end
    table.sort(disabled)
    assert.are.same({ 0, 5 }, disabled)
  end)
end)

describe("VI channel attributes", function()
  local device, channel
  before_each(function()
    fresh()
    device, channel = capture(0, 1)
  end)

  it("send the table field by field and read it back by name", function()
    local sent = last_call("HI_MPI_VI_SetChnAttr").args[2]
    assert.are.same({ 2, 1, 23, 1, 0 }, { sent.enCapSel, sent.enScanMode, sent.enPixFormat, sent.bMirror, sent.bFlip })
    assert.are.same({ stCapRect = ATTR.stCapRect, stDestSize = ATTR.stDestSize, enCapSel = "BOTH",
                      enScanMode = "PROGRESSIVE", enPixFormat = "YUV_SEMIPLANAR_420", bMirror = true, bFlip = false,
                      s32SrcFrameRate = 30, s32DstFrameRate = 25 }, channel:GetAttr())
    assert.is_true(channel:SetMinorAttr(ATTR))
    assert.are.equal("BOTH", channel:GetMinorAttr().enCapSel)
    assert.are.equal(0, channel:ClearMinorAttr())
    assert.are.same({ 1, nil }, { select("#", channel:GetMinorAttr()), channel:GetMinorAttr() })
  end)

  it("store unknown enumeration names as the value past the last, which reads back as absent", function()
    local t = {}
    for k, v in pairs(ATTR) do t[k] = v end
    t.enCapSel, t.enScanMode = "middle", true
    channel:SetAttr(t)  -- the simulated unit refuses such values; what was sent is what counts
    local sent = last_call("HI_MPI_VI_SetChnAttr").args[2]
    assert.are.same({ 3, 2 }, { sent.enCapSel, sent.enScanMode })
  end)

  it("answer the documented failure forms", function()
    local ok, msg = channel:SetAttr("all")
    assert.is_nil(ok)
    assert.matches("^Invalid attrs %[@SetAttr: line %d+%]$", msg)
    ok, msg = channel:SetMinorAttr({ stCapRect = { s32X = 0 } })
    assert.matches("^Attributes parse error %[@SetMinorAttr: line %d+%]$", msg)
    local wide = {}
    for k, v in pairs(ATTR) do wide[k] = v end
    wide.stDestSize = { u32Width = 4000, u32Height = 720 }  -- capture is never scaled up
    ok, msg = channel:SetAttr(wide)
    assert.matches("^Set channel attributes fail %[@SetAttr: line %d+ %- error=A0108003%]$", msg)
    -- a getter's platform failure is one nil and nothing else
    local other = device:GetChannel(7)
    assert.are.equal(1, select("#", other:GetAttr()))
    assert.is_nil(other:GetAttr())
    ok, msg = other:Query()
    assert.matches("^Fail to query channel status %[@Query: line %d+ %- error=A0108007%]$", msg)
    ok, msg = other:GetSkipMode()
    assert.matches("^Fail to get skip mode %[@GetSkipMode: line %d+%]$", msg)
    ok, msg = channel:SetSkipMode({})
    assert.matches("^Invalid skip mode %[@SetSkipMode: line %d+%]$", msg)
    ok, msg = channel:SetUserPic(3)
    assert.matches("^Invalid attrs %[@SetUserPic: line %d+%]$", msg)
    ok, msg = other:SetUserPic({ u32BgColor = 1 })
    assert.matches("^Set Usr Pic Bg fail %[@SetUserPic: line %d+ %- error=A0108007%]$", msg)
    assert.are.same({ s32(0xA0108007), 0 }, { other:GetFrameDepth(), other:GetRotate() })
  end)
end)

describe("VI channel settings", function()
  local device, channel
  before_each(function()
    fresh()
    device, channel = capture(0, 1)
    sim.clear()
  end)

  it("map rotation to the platform's codes, answering 1 or -1", function()
    local sent = {}
    for _, deg in ipairs({ 3, 90, 91, 270 }) do
      assert.are.equal(1, channel:SetRotate(deg))
      sent[#sent + 1] = last_call("HI_MPI_VI_SetRotate").args[2]
    end
    assert.are.same({ 3, 1, 2, 3 }, sent)
    assert.are.equal(3, channel:GetRotate())
    sim.clear()
    assert.are.equal(-1, channel:SetRotate(300))
    assert.are.equal(0, #sim.calls())
    assert.are.equal(-1, device:GetChannel(8):SetRotate(90))
  end)

  it("read skip modes by name and pass the user picture's colour alone", function()
    assert.is_true(channel:SetSkipMode("no"))
    assert.are.equal("NONE", channel:GetSkipMode())
    assert.is_true(channel:SetSkipMode("4to2"))
    assert.are.equal("4TO2", channel:GetSkipMode())
    channel:SetSkipMode("sometimes")
    assert.are.equal(3, last_call("HI_MPI_VI_SetSkipMode").args[2])
    -- the picture mode stays 0 (a picture, not a colour): the journal shows the
    -- union as a frame whose first word holds the colour, and the platform
    -- finds no picture in it, so nothing can be shown
    local ok, msg = channel:SetUserPic({ u32BgColor = 0x00FF00, bPub = true, enUsrPicMode = 1 })
    assert.is_nil(ok)
    assert.matches("^Set Usr Pic Bg fail %[@SetUserPic: line %d+ %- error=A0108003%]$", msg)
    local sent = last_call("HI_MPI_VI_SetUserPic").args[2]
    assert.are.same({ 0, 0, 0x00FF00, 0 }, { sent.bPub, sent.enUsrPicMode, sent.unUsrPic.stUsrPicFrm.stVFrame.u32Width,
                                             sent.unUsrPic.stUsrPicFrm.stVFrame.u32Height })
    assert.are.equal(s32(0xA0108009), channel:EnableUserPic())
    assert.are.equal(0, channel:SetFrameDepth(4))
    assert.are.equal(4, channel:GetFrameDepth())
    assert.are.equal(s32(0xA0108003), channel:SetFrameDepth(9))
    assert.are.same({ 1, nil }, { select("#", channel:GetLuma()), channel:GetLuma() })
  end)
end)

describe("the simulated capture unit", function()
  before_each(fresh)

  it("enables channels only on enabled devices and keeps devices with enabled channels", function()
    local device = VI.GetDevice(2)
    assert.are.equal(s32(0xA0108007), device:Enable())  -- not configured
    assert.is_true(device:ConfigMode("BT656"))
    local channel = device:GetChannel(8)
    assert.is_true(channel:SetAttr(ATTR))
    assert.are.equal(s32(0xA0108040), channel:Enable())  -- its device is not enabled
    assert.are.equal("VI channel 8 captures through device 2, which is not enabled",
                     last_call("HI_MPI_VI_EnableChn").reason)
    assert.are.equal(0, device:Enable())
    assert.are.equal(0, channel:Enable())
    local ok, msg = device:ConfigMode("BT601")  -- the device is not disabled
    assert.matches("error=A0108041%]$", msg)
    assert.are.equal(s32(0xA0108042), device:Disable())  -- a channel is not disabled
    assert.is_true(channel:Query().bEnable)
    -- a capture channel feeds processing through a binding
    local group = Tessel.VPSS.CreateGroup(0, { u32MaxW = 1920, u32MaxH = 1080, enPixFmt = "YUV_SEMIPLANAR_420",
                                               enDieMode = "yes" })
    assert.is_true(Tessel.SYS.Bind(channel, group:GetChannel(0)))
    local dot = sim.dot()
    assert.matches('label="VIU device 2"', dot, 1, true)
    assert.matches('"16_2_8" -> "7_0_0"', dot, 1, true)
    assert.is_true(Tessel.SYS.UnBind(channel, group:GetChannel(0)))
    assert.are.equal(0, channel:Disable())
    assert.are.equal(0, device:Disable())
  end)

  it("needs the system up", function()
    sim.reset()
    local device = VI.GetDevice(0)
    assert.is_true(device:ConfigMode("BT656"))
    assert.are.equal(s32(0xA0108010), device:Enable())
  end)
end)
