-- The capture part of the demo: one BT.1120 input on device 0, its channel 0
-- capturing full HD at 30 frames per second for the encoding group.
--
-- Returns two stages for examples/demo.lua, to run once the system is up:
--   build      configure and enable the device, set up and enable the channel
--   tear_down  disable the channel, then the device
require "tessel"
local VI = Tessel.VI
local stage = require "stage"
local say, check = stage.say, stage.check

local capture = {}

capture.device = 0
capture.channel = 0
capture.attr = { stCapRect = { s32X = 0, s32Y = 0, u32Width = 1920, u32Height = 1080 },
                 stDestSize = { u32Width = 1920, u32Height = 1080 }, enCapSel = "BOTH",
                 enScanMode = "PROGRESSIVE", enPixFormat = "YUV_SEMIPLANAR_420", bMirror = false, bFlip = false,
                 s32SrcFrameRate = 30, s32DstFrameRate = 30 }

function capture.build()
  say("Capture")
  capture.dev = VI.GetDevice(capture.device)
  check(string.format("VI device %d: ConfigMode BT1120", capture.device),
        capture.dev:ConfigMode("BT1120", { YUVSeq = "UYVY", ClkEdge = "SINGLE_UP" }))
  check(string.format("VI device %d: Enable", capture.device), capture.dev:Enable())
  capture.chn = capture.dev:GetChannel(capture.channel)
  check(string.format("VI channel %d: SetAttr 1080p30", capture.channel), capture.chn:SetAttr(capture.attr))
  check(string.format("VI channel %d: Enable", capture.channel), capture.chn:Enable())
  local stat = check(string.format("VI channel %d: Query", capture.channel), capture.chn:Query())
  say("    %dx%d at %d frames per second", stat.u32PicWidth, stat.u32PicHeight, stat.u32FrmRate)
end

function capture.tear_down()
  say("Capture tear-down")
  capture.chn:Destroy()  -- disables the channel
  say("  %-44s done", string.format("VI channel %d: Destroy", capture.channel))
  check(string.format("VI device %d: Disable", capture.device), capture.dev:Disable())
end

return capture
