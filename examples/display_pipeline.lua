-- The display part of the demo: HDMI and VGA at 1080p60 on device 0, its
-- video layer, and one output channel per window (the decoder's picture in
-- window 0).
--
-- Returns two stages for examples/demo.lua, to run once the system is up:
--   build      set the device's timing and enable it, set up and enable the
--              layer and its channels, then start HDMI in a format the
--              monitor supports
--   tear_down  stop HDMI, free the channels and the layer, then disable the
--              device
require "tessel"
local VO, HDMI = Tessel.VO, Tessel.HDMI
local stage = require "stage"
local say, check = stage.say, stage.check

local display = {}

display.device = 0
display.pubAttr = { u32BgColor = 0x000000, enIntfType = { "HDMI", "VGA" }, enIntfSync = "1080P60" }
display.layerAttr = { stDispRect = { s32X = 0, s32Y = 0, u32Width = 1920, u32Height = 1080 },
                      stImageSize = { u32Width = 1920, u32Height = 1080 }, u32DispFrmRt = 60,
                      enPixFormat = "YUV_SEMIPLANAR_420", bDoubleFrame = false, bClusterMode = false }
-- Two windows side by side.
display.windows = {
  { u32Priority = 0, stRect = { s32X = 0, s32Y = 0, u32Width = 960, u32Height = 540 }, bDeflicker = false },
  { u32Priority = 0, stRect = { s32X = 960, s32Y = 0, u32Width = 960, u32Height = 540 }, bDeflicker = false },
}

function display.build()
  say("Display")
  display.dev = VO.GetDevice(display.device)
  check("VO device 0: SetPubAttr HDMI+VGA 1080P60", display.dev:SetPubAttr(display.pubAttr))
  check("VO device 0: Enable", display.dev:Enable())
  display.layer = display.dev:GetLayer()
  check(string.format("VO layer %d: SetAttr", display.layer.ID), display.layer:SetAttr(display.layerAttr))
  check(string.format("VO layer %d: Enable", display.layer.ID), display.layer:Enable())
  display.channels = {}
  for i, window in ipairs(display.windows) do
    local chn = display.layer:GetChannel(i - 1)  -- kept: a collected channel leaves the screen
    check(string.format("VO channel %d: SetAttr", i - 1), chn:SetAttr(window))
    check(string.format("VO channel %d: Enable", i - 1), chn:Enable())
    display.channels[i] = chn
  end
  local attr = display.dev:GetPubAttr()
  say("    %s on %s", attr.enIntfSync, table.concat(attr.enIntfType, " and "))

  display.hdmi = HDMI.GetInterface(0)  -- kept: a collected interface stops and closes
  check("HDMI: Open", display.hdmi:Open())
  local sink = check("HDMI: GetSinkCapability", display.hdmi:GetSinkCapability())
  say("    monitor %s, native %s, %d formats", sink.u8IDManufactureName, sink.enNativeVideoFormat,
      #sink.bVideoFmtSupported)
  check("HDMI: SetAttr " .. sink.enNativeVideoFormat, display.hdmi:SetAttr({
    bEnableHdmi = true, bEnableVideo = true, enVideoFmt = sink.enNativeVideoFormat, enVidOutMode = "RGB444",
    enDeepColorMode = 255, bEnableAudio = true, enSoundIntf = "I2S", enSampleRate = 48000, enBitDepth = 16,
    bEnableAviInfoFrame = true, bEnableAudInfoFrame = true }))
  check("HDMI: Start", display.hdmi:Start())
end

function display.tear_down()
  say("Display tear-down")
  check("HDMI: Close", display.hdmi:Close())
  display.dev:ForceFree()
  say("  %-44s done", "VO device 0: ForceFree")
  check("VO device 0: Disable", display.dev:Disable())
end

return display
