-- An IP camera on the network: one full-HD capture channel feeds a processing
-- group whose channels feed an H.264 main stream (1080p30, CBR 4 Mbit/s), an
-- H.265 sub-stream (720p30, CBR 1 Mbit/s) and a JPEG snapshot channel, served
-- by tessel.rtsp on one port:
--
--   rtsp://HOST:8554/main           H.264 1920x1080
--   rtsp://HOST:8554/sub            H.265 1280x720
--   http://HOST:8554/snapshot.jpg   a fresh JPEG picture per request
--
--   LUA_CPATH='build/lua/?.so;;' LUA_PATH='lua/?.lua;;' lua5.3 examples/rtsp_camera.lua [--seconds N] [--port P]
--   ffplay -rtsp_transport tcp rtsp://127.0.0.1:8554/main
--
-- It serves for N seconds (default: until interrupted). On a PC it runs
-- against the simulator in real time, which players need: they show pictures
-- at the pace they arrive. (In virtual time the encoders would run as fast as
-- the machine allows, and players would get pictures faster than they play
-- them.)
require "tessel"
local rtsp = require "tessel.rtsp"
local VB, SYS, VI, VPSS, VENC = Tessel.VB, Tessel.SYS, Tessel.VI, Tessel.VPSS, Tessel.VENC

local seconds, port = nil, 8554
do
  local i, a = 1, arg or {}
  while a[i] do
    if a[i] == "--seconds" then seconds, i = tonumber(a[i + 1]), i + 1
    elseif a[i] == "--port" then port, i = tonumber(a[i + 1]), i + 1
    else error("unknown argument " .. a[i] .. " (--seconds N, --port P)") end
    i = i + 1
  end
end

local function check(what, result, message)
  if result == nil or (math.type(result) == "integer" and result ~= 0) then
    local errors = require "tessel.errors"
    local code = message or result
    error(string.format("%s: %s%s", what, message or string.format("error %08X", result & 0xFFFFFFFF),
                        errors.name(code) and " (" .. errors.name(code) .. ")" or ""), 2)
  end
  return result
end

local W, H = 1920, 1080

local function encoder(payload, width, height, kbps, mode)
  return {
    encoding = { type = payload, attr = { u32MaxPicWidth = width, u32MaxPicHeight = height, u32PicWidth = width,
                                          u32PicHeight = height, u32BufSize = width * height * 2, u32Profile = 0,
                                          bByFrame = true } },
    bitrate = { mode = mode, attr = { u32Gop = 30, u32StatTime = 1, u32SrcFrmRate = 30, fr32DstFrmRate = 30,
                                      u32BitRate = kbps, u32FluctuateLevel = 1 } },
  }
end

local streams = {
  { path = "/main", vpss = 0, venc = 0, width = W, height = H, attrs = encoder("H264", W, H, 4096, "H264CBR") },
  { path = "/sub", vpss = 1, venc = 1, width = 1280, height = 720,
    attrs = encoder("H265", 1280, 720, 1024, "H265CBR") },
}
local snapshot = { vpss = 2, venc = 2, attrs = encoder("JPEG", W, H, 0, "MJPEGFIXQP") }
snapshot.attrs.bitrate.attr = { u32SrcFrmRate = 30, fr32DstFrmRate = 30, u32Qfactor = 90 }

check("VB.Config", VB.Config(16, { { u32BlkSize = W * H * 3 // 2, u32BlkCnt = 12 },
                                   { u32BlkSize = 1280 * 720 * 3 // 2, u32BlkCnt = 6 } }))
check("VB.Init", VB.Init())
check("SYS.Init", SYS.Init())

local dev = VI.GetDevice(0)
check("VI device 0: ConfigMode", dev:ConfigMode("BT1120", { YUVSeq = "UYVY", ClkEdge = "SINGLE_UP" }))
check("VI device 0: Enable", dev:Enable())
local vi = dev:GetChannel(0)
check("VI channel 0: SetAttr", vi:SetAttr({
  stCapRect = { s32X = 0, s32Y = 0, u32Width = W, u32Height = H }, stDestSize = { u32Width = W, u32Height = H },
  enCapSel = "BOTH", enScanMode = "PROGRESSIVE", enPixFormat = "YUV_SEMIPLANAR_420", bMirror = false, bFlip = false,
  s32SrcFrameRate = 30, s32DstFrameRate = 30 }))
check("VI channel 0: Enable", vi:Enable())

local group = VPSS.CreateGroup(0, { u32MaxW = W, u32MaxH = H, enPixFmt = "YUV_SEMIPLANAR_420", enDieMode = "NODIE" })
check("VPSS.CreateGroup", group:GetAttr())
local function channel(n, width, height)
  local chn = group:GetChannel(n)
  check("VPSS channel SetMode", chn:SetMode({ enChnMode = "USER", u32Width = width, u32Height = height,
                                              stFrameRate = { s32SrcFrmRate = -1, s32DstFrmRate = -1 },
                                              enPixelFormat = "YUV_SEMIPLANAR_420", enCompressMode = "NONE" }))
  check("VPSS channel Enable", chn:Enable())
  return chn
end
for _, s in ipairs(streams) do s.channel = channel(s.vpss, s.width, s.height) end
snapshot.channel = channel(snapshot.vpss, W, H)
check("VPSS Start", group:Start())
check("bind capture -> processing", SYS.Bind(vi, group:GetChannel(0)))

for _, s in ipairs(streams) do
  s.venc = VENC.CreateChannel(s.venc, s.attrs)
  check(s.path .. ": CreateChannel", s.venc:GetAttr())
  check(s.path .. ": bind", SYS.Bind(s.channel, s.venc))
  check(s.path .. ": Start", s.venc:Start())
end
snapshot.venc = VENC.CreateChannel(snapshot.venc, snapshot.attrs)
check("snapshot: CreateChannel", snapshot.venc:GetAttr())
check("snapshot: bind", SYS.Bind(snapshot.channel, snapshot.venc))

local server = assert(rtsp.server{ port = port, log = print })
for _, s in ipairs(streams) do server:add(s.path, s.venc) end
-- One picture per request: the encoder takes the next picture and stops.
-- The loop waits for it (a frame period), which the streams' buffers absorb.
server:http("/snapshot.jpg", function()
  local rc = snapshot.venc:StartEx(1)
  if rc ~= 0 then return nil, string.format("StartEx: error %08X", rc & 0xFFFFFFFF) end
  local jpeg, err = snapshot.venc:GetStream(2000)
  snapshot.venc:Stop()
  return jpeg, jpeg and "image/jpeg" or err
end)
print(string.format("serving rtsp://127.0.0.1:%d/main, /sub and http://127.0.0.1:%d/snapshot.jpg%s", server.port,
                    server.port, seconds and string.format(" for %g s", seconds) or ""))
io.stdout:flush()
assert(server:run(seconds))
server:close()

for _, s in ipairs({ streams[1], streams[2], snapshot }) do
  s.venc:Stop()
  SYS.UnBind(s.channel, s.venc)
  s.venc:Destroy()
end
SYS.UnBind(vi, group:GetChannel(0))
group:Stop()
for _, s in ipairs(streams) do s.channel:Disable() end
snapshot.channel:Disable()
group:Destroy()
vi:Destroy()
dev:Disable()
check("SYS.Exit", SYS.Exit())
check("VB.Exit", VB.Exit())
