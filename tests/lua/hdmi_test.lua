-- The HDMI interface: the interface getter, the attribute table with its
-- format names, deep colour as bits per pixel and the audio defaults, the
-- sink's capabilities and EDID, and the simulated transmitter.
require "tessel"
local sim = require "tessel.sim"
local support = require "tests.lua.support"
local HDMI = Tessel.HDMI

local last_call, calls_named, fresh, s32 = support.last_call, support.calls_named, support.fresh, support.s32

local ATTR = { bEnableHdmi = true, bEnableVideo = true, enVideoFmt = "1080P60", enVidOutMode = "RGB444",
               enDeepColorMode = 24, bEnableAudio = true, enSoundIntf = "I2S", enSampleRate = 48000,
               enBitDepth = 16, bEnableAviInfoFrame = true }

local function opened()
  local hdmi = HDMI.GetInterface()
  assert(hdmi:Open() == 0)
  sim.clear()
  return hdmi
end

describe("HDMI.GetInterface", function()
  it("gives interface 0 for 0, nothing or a non-number, and logs any other number", function()
    local out, err = support.run([[
      require "tessel"
      print(Tessel.HDMI.GetInterface(1), Tessel.HDMI.GetInterface() ~= nil, Tessel.HDMI.GetInterface("x") ~= nil,
            Tessel.HDMI.GetInterface(0.0) ~= nil, Tessel.HDMI.GetInterface(0.5))
      print(select("#", Tessel.HDMI.Init()))
    ]])
    assert.are.equal("nil\ttrue\ttrue\ttrue\tnil\n0\n", out)
    assert.are.same({ { reporter = "GetInterface", message = "Invalid HDMI interface number:1, valid range is [0,1)!" },
                      { reporter = "GetInterface", message = "Invalid HDMI interface number:0.5, valid range is [0,1)!" } },
                    support.diagnostics(err))
  end)
end)

describe("HDMI attributes", function()
  local hdmi
  before_each(function()
    fresh()
    hdmi = opened()
  end)

  it("map deep colour bits, both SECAM names, and default audio values that are no numbers", function()
    local sent = {}
    for _, bits in ipairs({ 30, 40, 2, 24, 36 }) do
      local t = { enDeepColorMode = bits }
      hdmi:SetAttr(t)
      sent[#sent + 1] = last_call("HI_MPI_HDMI_SetAttr").args[2].enDeepColorMode
    end
    assert.are.same({ 1, 255, 2, 0, 2 }, sent)
    hdmi:SetAttr({ enVideoFmt = "secam", enSampleRate = "fast", enBitDepth = true, enSoundIntf = "default" })
    local a = last_call("HI_MPI_HDMI_SetAttr").args[2]
    assert.are.same({ 17, 48000, 16, 0 }, { a.enVideoFmt, a.enSampleRate, a.enBitDepth, a.enSoundIntf })
    local t = {}
    for k, v in pairs(ATTR) do t[k] = v end
    t.enVideoFmt = "SECAM_SIN"
    assert.is_true(hdmi:SetAttr(t))
    local back = hdmi:GetAttr()
    assert.are.same({ "SECAM_SIN", "RGB444", 24, "I2S", 48000, 16, true, false },
                    { back.enVideoFmt, back.enVidOutMode, back.enDeepColorMode, back.enSoundIntf, back.enSampleRate,
                      back.enBitDepth, back.bEnableAviInfoFrame, back.bHDCPEnable })
  end)

  it("refuse bad names with the conversion's text, and report the platform's refusal", function()
    for _, case in ipairs({
      { { enVideoFmt = "8K" }, "Invalid/unsupported HDMI format" },
      { { enVidOutMode = "CMYK" }, "Invalid HDMI video mode" },
      { { enSoundIntf = "ADAT" }, "Invalid HDMI sound interface" },
      { { enDeepColorMode = "deep" }, "Invalid HDMI deep color" },
    }) do
      local ok, msg = hdmi:SetAttr(case[1])
      assert.is_nil(ok)
      assert.matches("^" .. case[2]:gsub("%p", "%%%0") .. " %[@SetAttr: line %d+%]$", msg)
    end
    assert.are.equal(0, #calls_named("HI_MPI_HDMI_SetAttr"))
    local ok, msg = hdmi:SetAttr("1080P60")
    assert.matches("^Invalid attrs %[@SetAttr: line %d+%]$", msg)
    ok, msg = hdmi:SetAttr({ bEnableAudio = true, enSampleRate = 12345, enBitDepth = 16 })
    assert.matches("^Set HDMI attributes fail %[@SetAttr: line %d+ %- error=A0288002%]$", msg)
  end)

  it("set deep colour alone, reading it back in bits under the name SetAttr on failure", function()
    assert.is_true(hdmi:SetDeepColor(30))
    assert.are.equal(30, hdmi:GetDeepColor())
    local ok, msg = hdmi:SetDeepColor(nil)
    assert.matches("^Invalid HDMI deep color %[@SetDeepColor: line %d+%]$", msg)
    sim.fail("HI_MPI_HDMI_GetDeepColor", 0xA0288010)
    ok, msg = hdmi:GetDeepColor()
    assert.is_nil(ok)
    assert.matches("^Get HDMI deep color fail %[@SetAttr: line %d+ %- error=A0288010%]$", msg)
  end)
end)

describe("the HDMI sink", function()
  local hdmi
  before_each(function()
    fresh()
    hdmi = opened()
  end)

  it("lists supported formats by name and the manufacturer as a short string", function()
    local cap = hdmi:GetSinkCapability()
    assert.are.same({ true, "1080P60", "TSL", 1 }, { cap.bConnected, cap.enNativeVideoFormat, cap.u8IDManufactureName,
                                                     cap.u32AudioInfoNum })
    assert.are.same({ "1080P60", "1080P50", "1080P30", "1080P25", "1080P24", "1080I60", "1080I50", "720P60",
                      "720P50", "576P50", "480P60" }, cap.bVideoFmtSupported)
    assert.is_nil(cap.stAudioInfo)
  end)

  it("gives the EDID as raw bytes, zero bytes included", function()
    local edid = hdmi:ForceGetEDID()
    assert.are.equal(256, #edid)
    assert.are.equal("\0\255\255\255\255\255\255\0", edid:sub(1, 8))
    for block = 0, 1 do
      local sum = 0
      for i = 1, 128 do sum = sum + edid:byte(block * 128 + i) end
      assert.are.equal(0, sum % 256)
    end
    local closed = HDMI.GetInterface()
    closed:Close()
    local ok, msg = closed:ForceGetEDID()
    assert.is_nil(ok)
    assert.matches("^Get HDMI EDID fail %[@ForceGetEDID: line %d+ %- error=A0288004%]$", msg)
  end)
end)

describe("the simulated HDMI transmitter", function()
  before_each(fresh)

  it("opens without Init, stops and closes in that order, and is stopped and closed with its object", function()
    local hdmi = HDMI.GetInterface()
    assert.are.equal(s32(0xA0288004), hdmi:Start())  -- not open
    assert.are.same({ 0, 0 }, { hdmi:Open(), hdmi:Start() })
    assert.are.equal(0, #calls_named("HI_MPI_HDMI_Init"))
    assert.matches('label="HDMI 0/0", style="bold,filled"', sim.dot(), 1, true)
    assert.are.equal(0, hdmi:SetAVMute(true))
    sim.clear()
    assert.are.equal(0, hdmi:Close())  -- stops first
    assert.are.same({ "HI_MPI_HDMI_Stop", "HI_MPI_HDMI_Close" }, { sim.calls()[1].name, sim.calls()[2].name })
    assert.are.same({ 0, 0 }, { hdmi:Open(), hdmi:Start() })
    assert.are.equal(0, select("#", hdmi:SetInfoFrame({})))
    sim.clear()
    hdmi = nil
    collectgarbage()
    collectgarbage()
    local calls = sim.calls()
    assert.are.same({ "HI_MPI_HDMI_Stop", 0, "HI_MPI_HDMI_Close", 0 },
                    { calls[1].name, calls[1].ret, calls[2].name, calls[2].ret })
    assert.are.equal(0, HDMI.DeInit())
  end)

  it("judges attributes with the HDMI library's codes, audio only when it is on", function()
    local hdmi = opened()
    local video = { bEnableHdmi = true, bEnableVideo = true, enVideoFmt = "720P60", enDeepColorMode = 30 }
    assert.is_true(hdmi:SetAttr(video))  -- audio off: its rate and depth are not looked at
    assert.are.equal(30, hdmi:GetDeepColor())
    video.bEnableAudio, video.enSampleRate, video.enBitDepth = true, 48000, 12
    local ok, msg = hdmi:SetAttr(video)
    assert.matches("error=A0288002%]$", msg)
    assert.are.equal("audio depth 12 bits: 16, 20 or 24", last_call("HI_MPI_HDMI_SetAttr").reason)
    video.enBitDepth, video.enDeepColorMode = 24, 36  -- the monitor has no 36-bit colour
    ok, msg = hdmi:SetAttr(video)
    assert.matches("error=A028800A%]$", msg)
    ok, msg = hdmi:SetDeepColor(36)
    assert.matches("^Set HDMI deep color fail %[@SetDeepColor: line %d+ %- error=A028800A%]$", msg)
    assert.is_true(hdmi:SetDeepColor(24))  -- one setting, seen by the attributes too
    assert.are.equal(24, hdmi:GetAttr().enDeepColorMode)
  end)
end)
