-- The decoding part of the demo: an H.264 decoder channel for full HD
-- streams, ready to feed the display through a binding.
--
-- Returns two stages for examples/demo.lua, to run once the system is up:
--   build      create the channel, set its parameters, start reception, query
--   tear_down  stop and destroy it
require "tessel"
local VDEC = Tessel.VDEC

local decode = {}

local stage = require "stage"
local say, check = stage.say, stage.check

decode.channel = 0
decode.attrs = { enType = "H264", u32BufSize = 1920 * 1080 * 3 // 2, u32Priority = 5,
                 u32PicWidth = 1920, u32PicHeight = 1080,
                 attr = { u32RefFrameNum = 2, enMode = "FRAME", bTemporalMvpEnable = false } }

function decode.build()
  say("Decoder")
  -- CreateChannel answers with the channel whether or not the platform made
  -- it: reading the attributes back tells.
  decode.chn = VDEC.CreateChannel(decode.channel, decode.attrs)
  check(string.format("VDEC.CreateChannel(%d) H.264 1080p", decode.channel), decode.chn:GetAttr())
  check("VDEC: SetParam", decode.chn:SetParam({ s32DisplayFrameNum = 2, enVideoFormat = "TILE",
                                                enCompressMode = "NONE" }))
  check("VDEC: SetProtocolParam", decode.chn:SetProtocolParam({
    type = "H264", param = { s32MaxSliceNum = 16, s32MaxSpsNum = 2, s32MaxPpsNum = 2 } }))
  check("VDEC: SetDisplayMode playback", decode.chn:SetDisplayMode("PLAYBACK"))
  check("VDEC: Start", decode.chn:Start())
  local stat = check("VDEC: Query", decode.chn:Query())
  say("    receiving %s, %d frames decoded, %d picture buffers", tostring(stat.bStartRecvStream),
      stat.u32DecodeStreamFrames, decode.chn:GetVBCnt())
end

function decode.tear_down()
  say("Decoding tear-down")
  check("VDEC: Stop", decode.chn:Stop())
  check("VDEC: Destroy", decode.chn:Destroy())
end

return decode
