-- The display part of the demo: HDMI and VGA at 1080p60 on device 0, its
-- video layer, a 2x2 grid of output channels (the decoder, the two
-- processing outputs and the camera; examples/demo.lua binds them), and the
-- write-back of the whole screen into an encoder that records it.
--
-- Returns two stages for examples/demo.lua, to run once the system is up:
--   build      set the device's timing and enable it, set up and enable the
--              layer and its channels, then start HDMI in a format the
--              monitor supports
--   tear_down  stop HDMI, free the channels and the layer, then disable the
--              device
require "tessel"
local VO, HDMI, VENC, SYS = Tessel.VO, Tessel.HDMI, Tessel.VENC, Tessel.SYS
local stage = require "stage"
local say, check = stage.say, stage.check

local display = {}

display.device = 0
display.pubAttr = { u32BgColor = 0x000000, enIntfType = { "HDMI", "VGA" }, enIntfSync = "1080P60" }
display.layerAttr = { stDispRect = { s32X = 0, s32Y = 0, u32Width = 1920, u32Height = 1080 },
                      stImageSize = { u32Width = 1920, u32Height = 1080 }, u32DispFrmRt = 60,
                      enPixFormat = "YUV_SEMIPLANAR_420", bDoubleFrame = false, bClusterMode = false }
-- A 2x2 grid of windows, row by row.
display.windows = {}
for i = 0, 3 do
  display.windows[i + 1] = { u32Priority = 0, bDeflicker = false,
                             stRect = { s32X = i % 2 * 960, s32Y = i // 2 * 540, u32Width = 960, u32Height = 540 } }
end

-- The screen written back at 720p25 and encoded by encoder channel 3.
display.recorder = 3
display.wbcAttr = { stTargetSize = { u32Width = 1280, u32Height = 720 }, enPixelFormat = "YUV_SEMIPLANAR_420",
                    u32FrameRate = 25 }
display.recorderAttr = {
  encoding = { type = "H264", attr = { u32MaxPicWidth = 1280, u32MaxPicHeight = 720, u32BufSize = 1280 * 720 * 3 // 2,
                                       u32Profile = 1, bByFrame = true, u32PicWidth = 1280, u32PicHeight = 720 } },
  bitrate = { mode = "H264CBR", attr = { u32Gop = 50, u32StatTime = 1, u32SrcFrmRate = 25, fr32DstFrmRate = 25,
                                         u32BitRate = 2048, u32FluctuateLevel = 1 } } }

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

  display.wbc = VO.GetWBC(0)
  check("VO write-back: SetSource device 0", display.wbc:SetSource("DEVICE", display.dev))
  check("VO write-back: SetAttr 720p25", display.wbc:SetAttr(display.wbcAttr))
  check("VO write-back: Enable", display.wbc:Enable())
  display.recording = VENC.CreateChannel(display.recorder, display.recorderAttr)
  check(string.format("VENC.CreateChannel(%d) screen recording", display.recorder), display.recording:GetAttr())
  check(string.format("bind VO write-back -> VENC 0/%d", display.recorder), SYS.Bind(display.wbc, display.recording))
  check(string.format("VENC %d: Start", display.recorder), display.recording:Start())
end

function display.tear_down()
  say("Display tear-down")
  check(string.format("VENC %d: Stop", display.recorder), display.recording:Stop())
  check(string.format("unbind VO write-back -> VENC 0/%d", display.recorder),
        SYS.UnBind(display.wbc, display.recording))
  check(string.format("VENC %d: Destroy", display.recorder), display.recording:Destroy())
  check("VO write-back: Disable", display.wbc:Disable())
  check("HDMI: Close", display.hdmi:Close())
  display.dev:ForceFree()
  say("  %-44s done", "VO device 0: ForceFree")
  check("VO device 0: Disable", display.dev:Disable())
end

return display
