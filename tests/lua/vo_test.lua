-- Video output: devices and layers by number and kind, the public attribute
-- table with its interface bit set and timing names, the layer methods and
-- their result forms, output channels and write-back, and the simulated
-- display.
require "tessel"
local sim = require "tessel.sim"
local support = require "tests.lua.support"
local VO = Tessel.VO

local last_call, calls_named, fresh, s32 = support.last_call, support.calls_named, support.fresh, support.s32
-- The platform's name of the code a call answered (a status or a message).
local refusal = require("tessel.errors").name

local PUB = { u32BgColor = 0xFF, enIntfType = { "hdmi", "VGA" }, enIntfSync = "1080p60" }
local LAYER = { stDispRect = { s32X = 0, s32Y = 0, u32Width = 1920, u32Height = 1080 },
                stImageSize = { u32Width = 1920, u32Height = 1080 }, u32DispFrmRt = 60,
                enPixFormat = "YUV_SEMIPLANAR_420", bDoubleFrame = false, bClusterMode = false }
local WINDOW = { u32Priority = 0, stRect = { s32X = 0, s32Y = 0, u32Width = 960, u32Height = 540 }, bDeflicker = false }

-- Device 0 showing its layer, and channel chn of the layer set up.
local function display(chn)
  local dev = VO.GetDevice(0)
  assert(dev:SetPubAttr(PUB) and dev:Enable() == 0)
  local layer = dev:GetLayer()
  assert(layer:SetAttr(LAYER) and layer:Enable() == 0)
  local channel = layer:GetChannel(chn or 0)
  assert(channel:SetAttr(WINDOW))
  return dev, layer, channel
end

describe("VO devices and layers by number", function()
  it("give each kind its range and log the kind's message outside it", function()
    local out, err = support.run([[
      require "tessel"
      local VO = Tessel.VO
      print(VO.GetSDDevice(0).ID, VO.GetCasLayer(1).ID, VO.GetVirtualDevice(3).ID, VO.GetDevice(2):GetLayer().ID,
            VO.GetDevice(7):GetLayer().ID, VO.GetLayer(2).LID, VO.GetHDLayer(1).ID)
      print(VO.GetSDDevice(1), VO.GetDevice(-1), VO.GetDevice(9), VO.GetLayer(10), VO.GetVirtualLayer(4))
    ]])
    assert.are.equal("2\t9\t6\t3\t8\t2\t1\nnil\tnil\tnil\tnil\tnil\n", out)
    local diagnostics = support.diagnostics(err)
    assert.are.same({ reporter = "GetSDDevice", message = "VO SD device id is out of range, valid is [0,1)" },
                    diagnostics[1])
    assert.are.equal("VO device id is out of range, valid is [0,9)", diagnostics[2].message)
    assert.are.equal("VO layer id is out of range, valid is [0,10)", diagnostics[4].message)
    assert.are.equal("VO virtual layer id is out of range, valid is [0,4)", diagnostics[5].message)
    assert.are.same({ 9, 10, 2, 7, 2 }, { VO.MaxDevices, VO.MaxLayers, VO.PIPLayerBaseID, VO.CasDeviceBaseID,
                                          VO.MaxCasDevices })
  end)
end)

describe("VO device public attributes", function()
  before_each(fresh)

  it("OR an array of interface names, skipping what is not one, and read back names in bit order", function()
    local dev = VO.GetDevice(0)
    assert.is_true(dev:SetPubAttr({ u32BgColor = 1, enIntfType = { "hdmi", "VGA", "SCART", 5 }, enIntfSync = "USER",
                                    stSyncInfo = { bSynm = 1, bIop = true, u8Intfb = 300, u16Hact = 1920,
                                                   u16Vact = 1080, bIdv = true } }))
    local sent = last_call("HI_MPI_VO_SetPubAttr").args[2]
    assert.are.same({ 0x24, 33, 1, 44, 1080, 1 }, { sent.enIntfType, sent.enIntfSync, sent.stSyncInfo.bSynm,
                                                     sent.stSyncInfo.u8Intfb, sent.stSyncInfo.u16Vact,
                                                     sent.stSyncInfo.bIdv })
    local back = dev:GetPubAttr()
    assert.are.same({ "VGA", "HDMI" }, back.enIntfType)
    assert.are.same({ "USER", 1, true, false }, { back.enIntfSync, back.u32BgColor, back.stSyncInfo.bSynm,
                                                   back.stSyncInfo.bIvs })
    -- a timing that is neither name nor number is left out, not refused
    assert.is_true(VO.GetSDDevice(0):SetPubAttr({ enIntfType = "cvbs", enIntfSync = true }))
    assert.are.equal(0, last_call("HI_MPI_VO_SetPubAttr").args[2].enIntfSync)
  end)

  it("send the user timing's flags as 1 or 0, whatever number or boolean is given", function()
    local dev = VO.GetDevice(0)
    for _, case in ipairs({ { 0, 0 }, { false, 0 }, { true, 1 }, { -1, 1 }, { 2.0, 1 }, { 7, 1 } }) do
      sim.clear()
      assert.is_true(dev:SetPubAttr({ enIntfType = "HDMI", enIntfSync = "USER",
                                      stSyncInfo = { bSynm = case[1], bIop = case[1], bIvs = case[1],
                                                     u16Hact = 1280, u16Vact = 720 } }))
      local calls = sim.calls()
      assert.are.equal(1, #calls)
      local sync = calls[1].args[2].stSyncInfo
      assert.are.same({ case[2], case[2], case[2], 0 }, { sync.bSynm, sync.bIop, sync.bIvs, sync.bIdv },
                      "flags given as " .. tostring(case[1]))
    end
    local back = dev:GetPubAttr().stSyncInfo
    assert.are.same({ true, false }, { back.bIop, back.bIdv })
  end)

  it("refuse unknown interface and timing names with the conversion's text", function()
    local dev = VO.GetDevice(0)
    for _, case in ipairs({
      { { enIntfType = "SCART" }, "Invalid vout interface type" },
      { { enIntfType = true }, "Invalid interface type" },
      { { enIntfType = 0x20, enIntfSync = "1080p61" }, "Invalid VOUT sync type" },
      { 7, "VO_PUB_ATTR_S must be a table for structure convension" },
    }) do
      local ok, msg = dev:SetPubAttr(case[1])
      assert.is_nil(ok)
      assert.are.equal(case[2] .. " [@SetPubAttr: line", msg:match("^(.- %[@SetPubAttr: line)"))
    end
    assert.are.equal(0, #calls_named("HI_MPI_VO_SetPubAttr"))
    local ok, msg = dev:GetPubAttr()
    assert.is_nil(ok)
    assert.matches("^Fail to get VO device pub attributes %[@GetPubAttr: line %d+ %- error=A00F8040%]$", msg)
  end)
end)

describe("VO layer methods", function()
  local dev, layer
  before_each(function()
    fresh()
    dev, layer = display()
    sim.clear()
  end)

  it("bind by device object or number, with their different failure forms", function()
    local pip = VO.GetLayer(2)
    local ok, msg = pip:Bind("0")
    assert.is_nil(ok)
    assert.matches("^Invalid VO device object or VO device ID %[@Bind: line %d+%]$", msg)
    ok, msg = pip:Bind(layer)
    assert.matches("^Invalid VO device object %[@Bind: line %d+%]$", msg)
    assert.is_true(pip:Bind(dev))
    assert.are.same({ 2, 0 }, last_call("HI_MPI_VO_BindVideoLayer").args)
    ok, msg = pip:Bind(4)  -- the picture-in-picture layer goes onto HD devices only
    assert.matches("^Fail to bind VO layer to device %[@Bind: line %d+ %- error=A00F8008%]$", msg)
    local code
    ok, code = pip:UnBind(1)
    assert.are.same({ nil, "HI_ERR_VO_VIDEO_NOT_BINDED" }, { ok, refusal(code) })
    assert.is_true(math.type(code) == "integer" and code < 0)
    assert.is_true(pip:UnBind(0))
  end)

  it("map partition modes and compression, answering nil or false on failure", function()
    assert.is_true(layer:SetPartitionMode("single"))
    assert.is_true(layer:SetPartitionMode("split"))
    assert.are.same({ 0, 1 }, { calls_named("HI_MPI_VO_SetVideoLayerPartitionMode")[1].args[2],
                                calls_named("HI_MPI_VO_SetVideoLayerPartitionMode")[2].args[2] })
    assert.are.equal("MULTI", layer:GetPartitionMode())
    assert.is_nil(layer:SetPartitionMode({}))
    assert.are.equal(2, #calls_named("HI_MPI_VO_SetVideoLayerPartitionMode"))
    assert.are.same({ 1, nil }, { select("#", layer:SetPartitionMode(7)), layer:SetPartitionMode(7) })
    assert.are.equal(0, layer:SetCompress(true))
    assert.is_true(layer:GetCompress())
    sim.fail("HI_MPI_VO_GetVideoLayerCompressAttr", 0xA00F8010)
    assert.is_false(layer:GetCompress())
  end)

  it("answer values or codes from one-value getters, and nothing from placeholders", function()
    assert.are.equal(0, layer:SetPriority(2))
    assert.are.equal(2, layer:GetPriority())
    assert.are.equal(s32(0xA00F8003), layer:SetPriority(3))
    assert.are.equal(0, layer:SetDispBufLen(10))
    assert.are.equal(10, layer:GetDispBufLen())
    -- a failed read answers the code in place of the value, as the large number it is
    for _, read in ipairs({
      { "HI_MPI_VO_GetVideoLayerPriority", function() return layer:GetPriority() end },
      { "HI_MPI_VO_GetDispBufLen", function() return layer:GetDispBufLen() end },
      { "HI_MPI_VO_GetPlayToleration", function() return layer:GetPlayToleration() end },
      { "HI_MPI_VO_GetDevFrameRate", function() return dev:GetFrameRate() end },
      { "HI_MPI_VO_GetVtth", function() return dev:GetVtth() end },
    }) do
      sim.fail(read[1], 0xA00F8010)
      assert.are.equal(0xA00F8010, read[2]())
    end
    -- the write-back's and the channels' getters answer the code as the platform's signed status
    sim.fail("HI_MPI_VO_GetWbcDepth", 0xA00F8010)
    assert.are.equal(s32(0xA00F8010), VO.GetWBC(0):GetDepth())
    assert.are.equal("HI_ERR_VO_SETBEGIN_NOTYET", refusal(layer:SetAttrEnd()))
    assert.are.equal(0, layer:SetAttrBegin())
    assert.are.equal("HI_ERR_VO_SETBEGIN_ALREADY", refusal(layer:SetAttrBegin()))
    assert.are.equal(0, layer:SetAttrEnd())
    sim.clear()
    assert.are.equal(0, select("#", dev:SetVGAParam(1, 2)))
    assert.are.equal(0, select("#", layer:SetCSC({})))
    assert.are.same({ 1, nil }, { select("#", layer:GetCSC()), layer:GetCSC() })
    assert.are.equal(0, #sim.calls())
  end)

  it("frees a device's channels and layer, but not the device", function()
    local channel = layer:GetChannel(3)
    assert.is_true(channel:SetAttr(WINDOW))
    assert.are.equal(0, channel:Enable())
    sim.clear()
    assert.are.equal(0, select("#", dev:ForceFree()))
    local calls = sim.calls()
    assert.are.equal(37, #calls)
    assert.are.same({ "HI_MPI_VO_DisableChn", 0, 0 }, { calls[1].name, calls[1].args[1], calls[1].args[2] })
    assert.are.same({ "HI_MPI_VO_DisableVideoLayer", 0 }, { calls[37].name, calls[37].args[1] })
    assert.is_nil(channel:Query() and channel:GetPts())  -- disabled: no pictures
    assert.are.equal(0, dev:Disable())
    assert.are.same({}, sim.check())
  end)
end)

describe("VO channels", function()
  local channel
  before_each(function()
    fresh()
    local _
    _, _, channel = display(1)
    assert.are.equal(0, channel:Enable())
    sim.clear()
  end)

  it("read fields by name, INTERLACED as BOTH, and pass anything else as one past the last", function()
    assert.is_true(channel:SetField("interlaced"))
    assert.are.equal("BOTH", channel:GetField())
    local ok, msg = channel:SetField("odd")
    assert.is_nil(ok)
    assert.matches("^Fail to set channel field argument %[@SetField: line %d+ %- error=A00F8003%]$", msg)
    assert.are.equal(3, last_call("HI_MPI_VO_SetChnField").args[3])
  end)

  it("take zoom ratios as arrays or keyed tables and read them back crossed", function()
    assert.is_true(channel:SetZoomInWindow("RATIO", { 100, 200, 300, 400 }))
    local array = last_call("HI_MPI_VO_SetZoomInWindow").args[3].stZoomRatio
    assert.is_true(channel:SetZoomInWindow(1, { u32XRatio = 100, u32YRatio = 200, u32WRatio = 300, u32HRatio = 400 }))
    assert.are.same(array, last_call("HI_MPI_VO_SetZoomInWindow").args[3].stZoomRatio)
    local kind, window = channel:GetZoomInWindow()
    assert.are.same({ "RATIO", { s32X = 100, s32Y = 200, u32Width = 300, u32Height = 400 } }, { kind, window })
    assert.is_true(channel:SetZoomInWindow("rect", { s32X = 8, s32Y = 8, u32Width = 64, u32Height = 64 }))
    kind, window = channel:GetZoomInWindow()
    assert.are.same({ "RECT", { u32XRatio = 8, u32YRatio = 8, u32WRatio = 64, u32HRatio = 64 } }, { kind, window })
    local ok, msg = channel:SetZoomInWindow(true, {})
    assert.matches("^Invalid ratio type %[@SetZoomInWindow: line %d+%]$", msg)
    ok, msg = channel:SetZoomInWindow("RATIO", { 1, 2, 3 })
    assert.matches("^Invalid VO_ZOOM_RATIO_S fields %[@SetZoomInWindow: line %d+%]$", msg)
    ok, msg = channel:SetZoomInWindow("RATIO", 4)
    assert.is_nil(ok)
    assert.matches("^Invalid zoom ratio structure", msg)
  end)

  it("clear buffers on a Lua true only, and set borders only when enabling", function()
    assert.are.equal(0, select("#", channel:ClearBuffer(1)))
    channel:ClearBuffer(true)
    assert.are.same({ 0, 1 }, { calls_named("HI_MPI_VO_ClearChnBuffer")[1].args[3],
                                calls_named("HI_MPI_VO_ClearChnBuffer")[2].args[3] })
    assert.are.equal(0, channel:SetBorder(false, "not read"))
    assert.are.same({ bBorderEn = 0, stBorder = { u32TopWidth = 0, u32BottomWidth = 0, u32LeftWidth = 0,
                                                  u32RightWidth = 0, u32Color = 0 } },
                    last_call("HI_MPI_VO_SetChnBorder").args[3])
    local border = { u32TopWidth = 2, u32BottomWidth = 2, u32LeftWidth = 4, u32RightWidth = 4 }
    assert.are.equal(0, channel:SetBorder(true, border))
    assert.are.same({ true, border }, { channel:GetBorder() })
    local out, err = support.run([[
      require "tessel"
      print(Tessel.VO.GetLayer(0):GetChannel(0):SetBorder(true, 5))
    ]])
    assert.are.equal("-1\n", out)
    assert.are.same({ reporter = "SetBorder", message = "Fail to convert border arguments: Invalid border structure" },
                    support.diagnostics(err)[1])
  end)

  it("answer values, tables or a single nil from the status calls", function()
    assert.are.same({ { 0, 0 }, { u32ChnBufUsed = 0 } }, { channel:GetPts(), channel:Query() })
    assert.are.equal(0, channel:Pause())
    assert.are.equal(0, channel:Step())
    assert.are.equal(0, channel:Resume())
    assert.are.equal(s32(0xA00F8009), channel:Step())  -- only a paused channel steps
    sim.fail("HI_MPI_VO_GetChnReceiveThreshold", 0xA00F8010)
    assert.are.equal(s32(0xA00F8010), channel:GetReceiveThreshold())
    sim.fail("HI_MPI_VO_GetChnFrameRate", 0xA00F8010)
    assert.are.equal(s32(0xA00F8010), channel:GetFrameRate())  -- a signed rate, a signed code
    assert.are.equal(0, channel:SetFrameRate(30))
    assert.are.equal(30, channel:GetFrameRate())
    assert.is_true(channel:SetParam({ enMode = "AUTO", u32BgColor = 0 }))
    assert.is_true(channel:SetDispPos({ s32X = 16, s32Y = 16 }))
    assert.are.same({ s32X = 16, s32Y = 16 }, channel:GetDispPos())
    local ok, msg = channel:SetAttr(5)
    assert.matches("^Invalid attr table %[@SetAttr: line %d+%]$", msg)
    ok, msg = channel:SetParam("AUTO")
    assert.matches("^Invalid argument %[@SetParam: line %d+%]$", msg)
  end)

  it("is disabled when its object is collected", function()
    channel = nil
    collectgarbage()
    collectgarbage()
    assert.are.same({ 0, 1 }, last_call("HI_MPI_VO_DisableChn").args)
  end)
end)

describe("VO write-back", function()
  local wbc
  before_each(function()
    fresh()
    wbc = VO.GetWBC(0)
  end)

  it("is one object, takes devices or layers as sources, and leaves the pixel format behind on a round trip", function()
    assert.is_true(wbc == VO.GetWBC(0))
    assert.are.same({ 0, 15, 0, 0 }, { wbc.WbcID, wbc.MODID, wbc.DID, wbc.ID })
    assert.is_true(wbc:SetSource("video", VO.GetLayer(1)))
    assert.are.same({ "LAYER", 1 }, { wbc:GetSource() })
    -- collecting every reference leaves the one object and its hardware as they were
    wbc = nil
    collectgarbage()
    collectgarbage()
    wbc = VO.GetWBC(0)
    assert.are.same({ "LAYER", 1 }, { wbc:GetSource() })
    assert.are.equal(0, #calls_named("HI_MPI_VO_DisableWbc"))
    local ok, msg = wbc:SetSource("DEVICE", VO.GetLayer(1))
    assert.matches("^Invalid source device object %[@SetSource: line %d+%]$", msg)
    ok, msg = wbc:SetSource("tv", 0)
    assert.matches("^Invalid WBC source type %[@SetSource: line %d+%]$", msg)
    ok, msg = wbc:SetSource("DEVICE", 5)
    assert.matches("^fail to set WBC source %[@SetSource: line %d+ %- error=A00F8003%]$", msg)
    assert.is_true(wbc:SetAttr({ stTargetSize = { u32Width = 1280, u32Height = 720 },
                                 enPixelFormat = "YUV_SEMIPLANAR_420", u32FrameRate = 25 }))
    local back = wbc:GetAttr()
    assert.are.equal("YUV_SEMIPLANAR_420", back.enPixFormat)
    wbc:SetAttr(back)
    assert.are.equal(0, last_call("HI_MPI_VO_SetWbcAttr").args[2].enPixelFormat)
    assert.is_true(wbc:SetMode("p2i"))
    assert.are.equal("PROG_TO_INTL", wbc:GetMode())
    ok, msg = wbc:SetMode("fast")
    assert.matches("^Invalid WBC mode type %[@SetMode: line %d+%]$", msg)
  end)
end)

describe("the simulated display", function()
  before_each(fresh)

  it("enables layers on enabled devices and channels on enabled layers, and draws them nested", function()
    local dev = VO.GetDevice(0)
    local layer = dev:GetLayer()
    assert.are.equal("HI_ERR_VO_DEV_NOT_CONFIG", refusal(dev:Enable()))  -- no timing yet
    assert.is_true(dev:SetPubAttr(PUB))
    assert.are.equal("HI_ERR_VO_DEV_NOT_ENABLE", refusal(select(2, layer:SetAttr(LAYER))))
    assert.are.equal("HI_ERR_VO_VIDEO_NOT_CONFIG", refusal(layer:Enable()))
    assert.are.equal(0, dev:Enable())
    assert.are.equal("HI_ERR_VO_DEV_HAS_ENABLED", refusal(select(2, dev:SetPubAttr(PUB))))
    assert.are.equal("HI_ERR_VO_ILLEGAL_PARAM",  -- beyond the 1920x1080 screen
                     refusal(select(2, layer:SetAttr({ stDispRect = { 0, 0, 2560, 1440 }, stImageSize = { 1920, 1080 },
                                                       u32DispFrmRt = 60, enPixFormat = "YUV_SEMIPLANAR_420" }))))
    assert.is_true(layer:SetAttr(LAYER))
    local channel = layer:GetChannel(0)
    assert.are.equal("HI_ERR_VO_VIDEO_NOT_ENABLE", refusal(select(2, channel:SetAttr(WINDOW))))
    assert.are.equal("HI_ERR_VO_CHN_NOT_CONFIG", refusal(channel:Enable()))
    assert.are.equal(0, layer:Enable())
    assert.are.equal("HI_ERR_VO_VIDEO_NOT_DISABLE", refusal(select(2, layer:SetAttr(LAYER))))
    assert.are.equal("VO layer 0 is enabled: set its attributes before enabling it",
                     last_call("HI_MPI_VO_SetVideoLayerAttr").reason)
    -- a channel exists once set up: binding to one that is not answers the display's "not configured"
    local group = Tessel.VPSS.CreateGroup(0, { u32MaxW = 1920, u32MaxH = 1080, enPixFmt = "YUV_SEMIPLANAR_420" })
    assert.are.equal("HI_ERR_VO_CHN_NOT_CONFIG", refusal(select(2, Tessel.SYS.Bind(group:GetChannel(0), channel))))
    assert.are.equal("VOU 0/0 has no attributes (SetChnAttr)", last_call("HI_MPI_SYS_Bind").reason)
    assert.is_true(channel:SetAttr(WINDOW))
    assert.are.equal("HI_ERR_VO_CHN_NOT_ENABLE", refusal(channel:Pause()))
    assert.are.equal(0, channel:Enable())
    local ok, msg = layer:GetChannel(1):SetAttr({ stRect = { s32X = 1800, s32Y = 0, u32Width = 960, u32Height = 540 } })
    assert.matches("error=A00F8003%]$", msg)  -- outside the layer's picture
    assert.are.equal("window (1800, 0) 960x540 reaches beyond the layer's image of 1920x1080",
                     last_call("HI_MPI_VO_SetChnAttr").reason)
    local dot = sim.dot()
    assert.matches('subgraph "cluster_271_0" {\n    label="VO device 0";.-subgraph "cluster_15_0" {\n'
                   .. '      label="VOU layer 0";.-"15_0_0" %[label="VOU 0/0"', dot)
    -- a device goes off only after its layers; a layer under its channels is reported
    assert.are.equal("HI_ERR_VO_VIDEO_NOT_DISABLE", refusal(dev:Disable()))
    assert.are.equal(0, layer:Disable())
    assert.are.equal(0, dev:Disable())
    local rules = {}
    for _, f in ipairs(sim.check()) do rules[#rules + 1] = f.rule end
    assert.are.same({ "layer-disabled-under-channels" }, rules)
    assert.are.equal(0, channel:Disable())
  end)

  it("refuses timings on interfaces that do not carry them", function()
    for _, case in ipairs({
      { 0, { "HDMI" }, "PAL", "HI_ERR_VO_NOT_SUPPORT" },        -- standard definition on HDMI
      { 2, "CVBS", "720P60", "HI_ERR_VO_NOT_SUPPORT" },         -- CVBS carries standard definition only
      { 0, { "BT656" }, "1080P30", "HI_ERR_VO_NOT_SUPPORT" },   -- so does BT.656
      { 0, { "VGA" }, "1080I50", "HI_ERR_VO_NOT_SUPPORT" },     -- VGA carries no interlaced timing
      { 2, "HDMI", "PAL", "HI_ERR_VO_NOT_SUPPORT" },            -- the SD device has no HDMI
      { 0, 0, "1080P60", "HI_ERR_VO_ILLEGAL_PARAM" },           -- no interface
      { 0, "HDMI", "USER", "HI_ERR_VO_ILLEGAL_PARAM" },         -- a user timing without a picture
    }) do
      local ok, msg = VO.GetDevice(case[1]):SetPubAttr({ enIntfType = case[2], enIntfSync = case[3] })
      assert.are.equal(case[4], refusal(msg), case[3])
    end
    assert.is_true(VO.GetDevice(0):SetPubAttr({ enIntfType = { "HDMI", "BT1120" }, enIntfSync = "1080I60" }))
    assert.is_true(VO.GetDevice(2):SetPubAttr({ enIntfType = { "CVBS", "BT656" }, enIntfSync = "NTSC" }))
  end)

  it("moves only the picture-in-picture layer, onto one HD device at a time", function()
    local pip = VO.GetLayer(2)
    assert.are.equal("HI_ERR_VO_VIDEO_NOT_BINDED", refusal(select(2, pip:SetAttr(LAYER))))
    assert.are.equal("HI_ERR_VO_NOT_SUPPORT", refusal(select(2, VO.GetLayer(0):Bind(1))))
    assert.is_true(pip:Bind(1))
    assert.are.equal("HI_ERR_VO_VIDEO_HAS_BINDED", refusal(select(2, pip:Bind(0))))
    assert.are.equal("HI_ERR_VO_DEV_NOT_ENABLE", refusal(select(2, pip:SetAttr(LAYER))))
  end)

  it("writes back a source that shows, and reports disabling it under its destinations", function()
    local dev, layer = display()
    local wbc = VO.GetWBC(0)
    assert.are.equal("HI_ERR_VO_WBC_NOT_CONFIG", refusal(wbc:Enable()))
    assert.is_true(wbc:SetSource("DEVICE", 1))
    assert.is_true(wbc:SetAttr({ stTargetSize = { 1280, 720 }, enPixelFormat = "YUV_SEMIPLANAR_420",
                                 u32FrameRate = 25 }))
    assert.are.equal("HI_ERR_VO_DEV_NOT_ENABLE", refusal(wbc:Enable()))  -- device 1 shows nothing
    assert.is_true(wbc:SetSource("LAYER", layer))
    assert.are.equal(0, wbc:Enable())
    assert.are.equal("HI_ERR_VO_WBC_NOT_DISABLE", refusal(select(2, wbc:SetSource("DEVICE", dev))))
    -- shown again on the CVBS output
    local sd = VO.GetSDDevice(0)
    assert(sd:SetPubAttr({ enIntfType = "CVBS", enIntfSync = "PAL" }) and sd:Enable() == 0)
    local sdLayer = sd:GetLayer()
    assert(sdLayer:SetAttr({ stDispRect = { 0, 0, 720, 576 }, stImageSize = { 720, 576 }, u32DispFrmRt = 25,
                             enPixFormat = "YUV_SEMIPLANAR_420" }) and sdLayer:Enable() == 0)
    local window = sdLayer:GetChannel(0)
    assert(window:SetAttr({ u32Priority = 0, stRect = { 0, 0, 720, 576 } }))
    assert.is_true(Tessel.SYS.Bind(wbc, window))
    assert.are.same({}, sim.check())
    -- drawn as a source of its own, not as the display channel of the same address
    assert.matches('"writeback" -> "15_3_0"', sim.dot(), 1, true)
    assert.is_nil(sim.dot():find('"15_0_0" ->', 1, true))
    assert.are.equal(0, wbc:Disable())
    local findings = sim.check()
    assert.are.same({ "disabled-while-bound", "VO write-back 0 disabled while bound to VOU 3/0" },
                    { findings[1].rule, findings[1].message })
    assert.is_true(Tessel.SYS.UnBind(wbc, window))
    assert.are.equal(0, wbc:Disable())
    assert.are.equal(1, #sim.check())
  end)
end)
