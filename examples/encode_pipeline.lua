-- The encoding part of the demo: a processing group whose two channels feed
-- an H.264 encoder (constant bit rate, full HD) and an MJPEG encoder.
--
-- Returns two stages for examples/demo.lua, to run once the system is up:
--   build      create the group and the encoders, bind, start, query, and
--              lower the H.264 bit rate while it runs
--   tear_down  stop, unbind and destroy, in the reverse order
-- The demo draws the pipeline between the two.
require "tessel"
local VPSS, VENC, SYS = Tessel.VPSS, Tessel.VENC, Tessel.SYS

local encode = {}

local stage = require "stage"
local say, check = stage.say, stage.check

encode.group = 1
encode.groupAttr = { u32MaxW = 1920, u32MaxH = 1080, enPixFmt = "YUV_SEMIPLANAR_420",
                     bNrEn = true, enDieMode = "NODIE" }

local function picture(type_, width, height)
  return { type = type_, attr = { u32MaxPicWidth = width, u32MaxPicHeight = height,
                                  u32BufSize = width * height * 3 // 2, u32Profile = 1, bByFrame = true,
                                  u32PicWidth = width, u32PicHeight = height } }
end

-- Each encoder with the group channel that feeds it.
encode.streams = {
  { name = "H.264 CBR 1080p", vpss = 0, venc = 1,
    attrs = { encoding = picture("H264", 1920, 1080),
              bitrate = { mode = "H264CBR", attr = { u32Gop = 30, u32StatTime = 1, u32SrcFrmRate = 30,
                                                     fr32DstFrmRate = 30, u32BitRate = 4096,
                                                     u32FluctuateLevel = 1 } } } },
  { name = "MJPEG CBR 720p", vpss = 1, venc = 2,
    attrs = { encoding = picture("MJPEG", 1280, 720),
              bitrate = { mode = "MJPEGCBR", attr = { u32StatTime = 1, u32SrcFrmRate = 30,
                                                      fr32DstFrmRate = 15, u32BitRate = 8192,
                                                      u32FluctuateLevel = 1 } } } },
}

local function channelMode(attrs)
  local a = attrs.encoding.attr
  return { enChnMode = "USER", u32Width = a.u32PicWidth, u32Height = a.u32PicHeight,
           stFrameRate = { s32SrcFrmRate = -1, s32DstFrmRate = -1 },
           enPixelFormat = "YUV_SEMIPLANAR_420", enCompressMode = "NONE" }
end

function encode.build()
  say("Processing group %d", encode.group)
  -- CreateGroup answers with the group whether or not the platform made it:
  -- reading the attributes back tells.
  encode.vpss = VPSS.CreateGroup(encode.group, encode.groupAttr)
  check("VPSS.CreateGroup", encode.vpss:GetAttr())
  for _, s in ipairs(encode.streams) do
    local chn = encode.vpss:GetChannel(s.vpss)
    check(string.format("channel %d: SetMode %dx%d", s.vpss, channelMode(s.attrs).u32Width,
                        channelMode(s.attrs).u32Height), chn:SetMode(channelMode(s.attrs)))
    check(string.format("channel %d: Enable", s.vpss), chn:Enable())
  end
  check("Start", encode.vpss:Start())

  say("Encoders")
  for _, s in ipairs(encode.streams) do
    s.chn = VENC.CreateChannel(s.venc, s.attrs)
    check(string.format("VENC.CreateChannel(%d) %s", s.venc, s.name), s.chn:GetAttr())
    check(string.format("bind VPSS %d/%d -> VENC 0/%d", encode.group, s.vpss, s.venc),
          SYS.Bind(encode.vpss:GetChannel(s.vpss), s.chn))
    check(string.format("VENC %d: Start", s.venc), s.chn:Start())
  end
  for _, s in ipairs(encode.streams) do
    local stat = check(string.format("VENC %d: Query", s.venc), s.chn:Query())
    say("    %d pictures and %d stream bytes waiting, %d packs", stat.u32LeftPics,
        stat.u32LeftStreamBytes, stat.u32CurPacks)
  end

  -- A running channel takes new rate control from its whole attribute table.
  -- The destination frame rate is read back under "fr32DstFrmRate " (with a
  -- blank) and must go in again without it.
  local h264 = encode.streams[1].chn
  local attrs = check("VENC 1: GetAttr", h264:GetAttr())
  local rc = attrs.bitrate.attr
  rc.fr32DstFrmRate, rc["fr32DstFrmRate "] = rc["fr32DstFrmRate "], nil
  say("    bit rate %d kbit/s, %d of %d frames per second", rc.u32BitRate, rc.fr32DstFrmRate, rc.u32SrcFrmRate)
  rc.u32BitRate = 2048
  check("VENC 1: SetAttr bit rate 2048 kbit/s", h264:SetAttr(attrs))
  say("    bit rate now %d kbit/s", h264:GetAttr().bitrate.attr.u32BitRate)
end

function encode.tear_down()
  say("Encoding tear-down")
  for i = #encode.streams, 1, -1 do
    local s = encode.streams[i]
    check(string.format("VENC %d: Stop", s.venc), s.chn:Stop())
    check(string.format("unbind VPSS %d/%d -> VENC 0/%d", encode.group, s.vpss, s.venc),
          SYS.UnBind(encode.vpss:GetChannel(s.vpss), s.chn))
    check(string.format("VENC %d: Destroy", s.venc), s.chn:Destroy())
    check(string.format("VPSS channel %d: Disable", s.vpss), encode.vpss:GetChannel(s.vpss):Disable())
  end
  check("VPSS group: Stop", encode.vpss:Stop())
  check("VPSS group: Destroy", encode.vpss:Destroy())
end

return encode
