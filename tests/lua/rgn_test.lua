-- Regions: the factories and who destroys the region, the attribute tables
-- whose member follows the region or area type, the two ways of naming the
-- target channel, and the simulated region hardware.
require "tessel"
local sim = require "tessel.sim"
local support = require "tests.lua.support"
local RGN = Tessel.RGN

local last_call, calls_named, fresh, s32 = support.last_call, support.calls_named, support.fresh, support.s32

local OSD = { type = "overlay", attr = { enPixelFmt = "RGB_1555", u32BgColor = 0x7FFF,
                                         stSize = { u32Width = 320, u32Height = 32 } } }
local ON_ENCODER = { bShow = true, enType = "OVERLAY",
                     attr = { stPoint = { s32X = 16, s32Y = 16 }, u32FgAlpha = 128, u32BgAlpha = 0, u32Layer = 1,
                              stQpInfo = { bQpDisable = false, bAbsQp = true, s32Qp = 20 },
                              stInvertColor = { stInvColArea = { u32Width = 16, u32Height = 16 }, u32LumThresh = 100,
                                                enChgMod = ">", bInvColEn = true } } }

local function encoder(chn)
  return Tessel.VENC.CreateChannel(chn, {
    encoding = { type = "H264", attr = { u32MaxPicWidth = 352, u32MaxPicHeight = 288, u32BufSize = 352 * 288 * 2,
                                         u32PicWidth = 352, u32PicHeight = 288 } },
    bitrate = { mode = "H264CBR", attr = { u32Gop = 30, u32StatTime = 1, u32SrcFrmRate = 30,
                                           fr32DstFrmRate = 30, u32BitRate = 1024 } } })
end

describe("RGN factories", function()
  it("refuse handles outside [0,1024) under the name GetRegion", function()
    local out, err = support.run([[
      require "tessel"
      print(Tessel.RGN.CreateRegion(1024, {}), Tessel.RGN.CreateRegion(-1, {}), Tessel.RGN.GetRegion(1023).ID,
            Tessel.RGN.MaxRegions)
    ]])
    assert.are.equal("nil\tnil\t1023\t1024\n", out)
    local range = { reporter = "GetRegion", message = "Region ID out of range. Valid range is [0,1024)" }
    assert.are.same({ range, range }, support.diagnostics(err))
  end)

  it("return the region even when refused; only a created region is destroyed, once", function()
    fresh()
    local refused = RGN.CreateRegion(7, { type = "OVERLAY", attr = { enPixelFmt = "YUV_SEMIPLANAR_420" } })
    assert.are.equal(0xA0038008, support.u32(last_call("HI_MPI_RGN_Create").ret))
    assert.are.equal(0, refused:Destroy())
    local region = RGN.CreateRegion(7, OSD)
    assert.are.same({ 0, 0 }, { region:Destroy(), region:Destroy() })
    assert.are.equal(1, #calls_named("HI_MPI_RGN_Destroy"))
    RGN.CreateRegion(8, OSD)
    RGN.GetRegion(8)
    collectgarbage()
    collectgarbage()
    assert.are.equal(2, #calls_named("HI_MPI_RGN_Destroy"))
  end)
end)

describe("RGN attribute tables", function()
  local region
  before_each(function()
    fresh()
    region = RGN.CreateRegion(1, OSD)
  end)

  it("read the overlay member by region type and nothing for the other types", function()
    local sent = last_call("HI_MPI_RGN_Create").args[2]
    assert.are.same({ 0, 8, 0x7FFF, 320 }, { sent.enType, sent.unAttr.stOverlay.enPixelFmt,
                                             sent.unAttr.stOverlay.u32BgColor, sent.unAttr.stOverlay.stSize.u32Width })
    assert.are.same({ type = "OVERLAY", attr = { enPixelFmt = "RGB_1555", u32BgColor = 0x7FFF,
                                                 stSize = { u32Width = 320, u32Height = 32 } } }, region:GetAttr())
    local mosaic = RGN.CreateRegion(2, { type = 5, attr = { ignored = true } })
    assert.are.same({ type = "MOSAIC" }, mosaic:GetAttr())
    local ok, msg = region:SetAttr("OSD")
    assert.matches("^INvalid region attributes %[@SetAttr: line %d+%]$", msg)
    ok, msg = region:SetAttr({ type = "BANNER" })
    assert.is_nil(ok)
    assert.matches("^Invalid region type %[@SetAttr: line %d+%]$", msg)
    ok, msg = region:SetAttr({ type = "COVER" })  -- a region keeps its type
    assert.matches("^Fail to set region attributes %[@SetAttr: line %d+ %- error=A0038009%]$", msg)
  end)

  it("read covers as rectangles or quadrangles by area type, keeping unknown area names as 2", function()
    local cover = RGN.CreateRegion(3, { type = "COVEREX" })
    local quad = { bSolid = true, u32LineWidth = 2, stPoint = { { s32X = 0, s32Y = 0 }, { s32X = 64, s32Y = 0 },
                                                                 { s32X = 64, s32Y = 64 }, { s32X = 0, s32Y = 64 } } }
    local group = Tessel.VPSS.CreateGroup(0, { u32MaxW = 1920, u32MaxH = 1080, enPixFmt = "YUV_SEMIPLANAR_420",
                                               enDieMode = "yes" })
    assert.is_true(cover:AttachToChn(group:GetChannel(0), { bShow = 1, enType = "COVEREX",
      attr = { enCoverType = "quad", cover = quad, u32Color = 0xFF, u32Layer = 2 } }))
    local sent = last_call("HI_MPI_RGN_AttachToChn").args[3].unChnAttr.stCoverExChn
    assert.are.same({ 1, 1, 64 }, { sent.enCoverType, sent.stQuadRangle.bSolid, sent.stQuadRangle.stPoint[3].s32X })
    local back = cover:GetDisplayAttr(group:GetChannel(0))
    assert.are.same({ "QUAD_RANGLE", quad, nil }, { back.attr.enCoverType, back.attr.cover, back.attr.stRect })
    local rect = { s32X = 8, s32Y = 8, u32Width = 100, u32Height = 50 }
    assert.is_true(cover:SetDisplayAttr(group:GetChannel(0), { bShow = true, enType = "COVEREX",
      attr = { enCoverType = "RECT", cover = rect } }))
    back = cover:GetDisplayAttr(group:GetChannel(0))
    assert.are.same({ "RECT", rect, rect }, { back.attr.enCoverType, back.attr.cover, back.attr.stRect })
    cover:SetDisplayAttr(group:GetChannel(0), { bShow = true, enType = "COVEREX", attr = { enCoverType = "oval" } })
    assert.are.equal(2, last_call("HI_MPI_RGN_SetDisplayAttr").args[3].unChnAttr.stCoverExChn.enCoverType)
    local ok, msg = cover:SetDisplayAttr(group:GetChannel(0), { enType = "COVEREX", attr = { enCoverType = true } })
    assert.is_nil(ok)
    assert.matches("^Invalid area type %[@SetDisplayAttr: line %d+%]$", msg)
    assert.is_true(cover:DetachFromChn(group:GetChannel(0)))
  end)
end)

describe("RGN targets", function()
  local region, venc
  before_each(function()
    fresh()
    region = RGN.CreateRegion(1, OSD)
    venc = encoder(2)
    sim.clear()
  end)

  it("take a channel object or module, device and channel numbers, with their refusals", function()
    assert.is_true(region:AttachToChn(venc, ON_ENCODER))
    assert.are.same({ enModId = 8, s32DevId = 0, s32ChnId = 2 }, last_call("HI_MPI_RGN_AttachToChn").args[2])
    local back = region:GetDisplayAttr(8, 0, 2)
    assert.are.same({ ">LUM", 20, true }, { back.attr.stInvertColor.enChgMod, back.attr.stQpInfo.s32Qp,
                                            back.attr.stQpInfo.bAbsQp })
    assert.is_true(region:DetachFromChn(8, 0, 2))
    for _, case in ipairs({
      { { region:AttachToChn() }, "Invalid arguments" },
      { { region:AttachToChn(8) }, "Invalid device id" },
      { { region:AttachToChn(0, 0) }, "Invalid channel id" },
      { { region:AttachToChn(6, 0, 0, 5) }, "Invalid region channel attributes" },
      { { region:AttachToChn(io.stdout, ON_ENCODER) }, "Invalid channel object" },
      -- a nil counts as a missing argument rather than a number of the wrong type
      { { region:AttachToChn(nil, ON_ENCODER) }, "Invalid arguments" },
      { { region:AttachToChn(8, nil, 2, ON_ENCODER) }, "Invalid device id" },
      { { region:AttachToChn(8, 0, nil, ON_ENCODER) }, "Invalid channel id" },
    }) do
      assert.is_nil(case[1][1])
      assert.matches("^" .. case[2] .. " %[@AttachToChn: line %d+%]$", case[1][2])
    end
    assert.are.equal(1, #calls_named("HI_MPI_RGN_AttachToChn"))  -- only the first, which went through
    local raised, err = pcall(region.AttachToChn, region, Tessel.VO.GetDevice(0), ON_ENCODER)
    assert.is_false(raised)
    assert.matches("MPPChannel expected, got VODevice", err, 1, true)
    local ok, msg = region:DetachFromChn(8, 0, 2)
    assert.matches("^Fail to detach from channel %[@DetachFromChn: line %d+ %- error=A0038005%]$", msg)
  end)

  it("set the attach field by name, and report a failed read in the setter's words", function()
    assert.is_true(region:SetAttachField("both"))
    assert.are.equal("FRAME", region:GetAttachField())
    assert.is_true(region:SetAttachField("TOP"))
    assert.are.equal("TOP", region:GetAttachField())
    local ok, msg = RGN.GetRegion(9):GetAttachField()
    assert.is_nil(ok)
    assert.matches("^Fail to set region attach field %[@GetAttachField: line %d+ %- error=A0038005%]$", msg)
  end)
end)

describe("the simulated region hardware", function()
  before_each(fresh)

  it("draws each type only in the modules that take it, once per channel, on channels that exist", function()
    local region = RGN.CreateRegion(1, OSD)
    local venc = encoder(2)
    local ok, msg = region:AttachToChn(7, 0, 0, ON_ENCODER)  -- overlays go on encoders
    assert.matches("error=A0038008%]$", msg)
    ok, msg = region:AttachToChn(8, 0, 9, ON_ENCODER)  -- no such encoder channel
    assert.matches("error=A0038005%]$", msg)
    assert.is_true(region:AttachToChn(venc, ON_ENCODER))
    ok, msg = region:AttachToChn(venc, ON_ENCODER)
    assert.matches("error=A0038004%]$", msg)
    local wrong = { bShow = true, enType = "COVER", attr = { enCoverType = "RECT" } }
    ok, msg = region:SetDisplayAttr(venc, wrong)
    assert.matches("error=A0038003%]$", msg)
    -- destroying it attached goes through and is reported
    assert.are.equal(0, region:Destroy())
    assert.are.equal("region-destroyed-while-attached", sim.check()[1].rule)
  end)

  it("draws at most 8 overlays per encoder channel, on layers 0 to 7, and keeps an attached overlay's size", function()
    local venc = encoder(2)
    local regions = {}
    for h = 1, 9 do regions[h] = RGN.CreateRegion(h, OSD) end
    local high = { bShow = true, enType = "OVERLAY", attr = { stPoint = { 0, 0 }, u32Layer = 8 } }
    local ok, msg = regions[1]:AttachToChn(venc, high)
    assert.matches("error=A0038003%]$", msg)
    for h = 1, 8 do assert.is_true(regions[h]:AttachToChn(venc, ON_ENCODER)) end
    ok, msg = regions[9]:AttachToChn(venc, ON_ENCODER)
    assert.matches("^Fail to attach to channel %[@AttachToChn: line %d+ %- error=A003800D%]$", msg)
    assert.is_true(regions[8]:DetachFromChn(venc))
    assert.is_true(regions[9]:AttachToChn(venc, ON_ENCODER))
    local bigger = { type = "OVERLAY", attr = { enPixelFmt = "RGB_1555", stSize = { 640, 32 } } }
    ok, msg = regions[1]:SetAttr(bigger)
    assert.matches("error=A0038009%]$", msg)
    assert.is_true(regions[8]:SetAttr(bigger))  -- detached: free to grow
  end)

  it("needs the system up, a drawable format and an even size", function()
    local region = RGN.CreateRegion(5, { type = "OVERLAY", attr = { enPixelFmt = "RGB_1555",
                                                                   stSize = { u32Width = 33, u32Height = 32 } } })
    assert.are.equal(s32(0xA0038003), last_call("HI_MPI_RGN_Create").ret)
    assert.are.equal(5, region.ID)
    sim.reset()
    RGN.CreateRegion(5, OSD)
    assert.are.equal(s32(0xA0038010), last_call("HI_MPI_RGN_Create").ret)
  end)
end)
