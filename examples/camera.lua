-- An IP camera: one full-HD capture channel feeds a processing group whose
-- channels feed an H.264 main stream (1080p30, CBR 4 Mbit/s), an H.265
-- sub-stream (720p30, CBR 1 Mbit/s) and a JPEG snapshot channel. A privacy
-- cover, a logo and the camera's name with a clock updated every second
-- (tessel.osd, where the build has FreeType) are drawn on the main stream.
--
-- It records N seconds of both streams (Annex B files that players open) and
-- one snapshot, reading the encoders as they become ready with SYS.Poll.
--
--   LUA_CPATH='build/lua/?.so;;' lua5.3 examples/camera.lua [seconds] [directory] [--real]
--
-- On a PC it runs against the simulator in virtual time (as fast as the
-- machine encodes) unless --real is given; on a board it runs in real time.
-- It writes main.h264, sub.h265 and snapshot.jpg into the directory
-- (default: camera-out, made if missing).
require "tessel"
local VB, SYS, VI, VPSS, VENC, RGN = Tessel.VB, Tessel.SYS, Tessel.VI, Tessel.VPSS, Tessel.VENC, Tessel.RGN

local seconds, directory, realTime = 5, "camera-out", false
for _, a in ipairs(arg or {}) do
  if a == "--real" then realTime = true
  elseif tonumber(a) then seconds = tonumber(a)
  else directory = a end
end

local hasSim, sim = pcall(require, "tessel.sim")
if hasSim and not realTime then sim.clock("virtual") end

-- Stops with the call's name and the platform's reason (typed calls answer 0, raw calls a value).
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
                                      u32BitRate = kbps, u32FluctuateLevel = 1, u32Qfactor = 90 } },
  }
end

local streams = {
  { name = "main", file = "main.h264", vpss = 0, venc = 0, width = W, height = H,
    attrs = encoder("H264", W, H, 4096, "H264CBR") },
  { name = "sub", file = "sub.h265", vpss = 1, venc = 1, width = 1280, height = 720,
    attrs = encoder("H265", 1280, 720, 1024, "H265CBR") },
}
local snapshot = { vpss = 2, venc = 2, attrs = encoder("JPEG", W, H, 0, "MJPEGFIXQP") }
snapshot.attrs.bitrate.attr = { u32SrcFrmRate = 30, fr32DstFrmRate = 30, u32Qfactor = 90 }

-- System: pools for the pictures of every stage.
check("VB.Config", VB.Config(16, { { u32BlkSize = W * H * 3 // 2, u32BlkCnt = 12 },
                                   { u32BlkSize = 1280 * 720 * 3 // 2, u32BlkCnt = 6 } }))
check("VB.Init", VB.Init())
check("SYS.Init", SYS.Init())

-- Capture.
local dev = VI.GetDevice(0)
check("VI device 0: ConfigMode", dev:ConfigMode("BT1120", { YUVSeq = "UYVY", ClkEdge = "SINGLE_UP" }))
check("VI device 0: Enable", dev:Enable())
local vi = dev:GetChannel(0)
check("VI channel 0: SetAttr", vi:SetAttr({
  stCapRect = { s32X = 0, s32Y = 0, u32Width = W, u32Height = H }, stDestSize = { u32Width = W, u32Height = H },
  enCapSel = "BOTH", enScanMode = "PROGRESSIVE", enPixFormat = "YUV_SEMIPLANAR_420", bMirror = false, bFlip = false,
  s32SrcFrameRate = 30, s32DstFrameRate = 30 }))
check("VI channel 0: Enable", vi:Enable())

-- Processing: one channel per encoder, at the encoder's size.
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

-- A privacy cover (black) and a logo (a framed square) on the main stream.
local cover = RGN.CreateRegion(0, { type = "COVER" })
check("cover: AttachToChn", cover:AttachToChn(streams[1].channel, { bShow = true, enType = "COVER",
  attr = { enCoverType = "RECT", cover = { s32X = 1500, s32Y = 700, u32Width = 320, u32Height = 240 },
           u32Color = 0x000000, u32Layer = 0 } }))
local logo = RGN.CreateRegion(1, { type = "OVERLAYEX", attr = { enPixelFmt = "RGB_1555", u32BgColor = 0,
                                                                 stSize = { u32Width = 64, u32Height = 64 } } })
do
  local pixels = {}
  for y = 0, 63 do
    for x = 0, 63 do
      local edge = x < 4 or y < 4 or x > 59 or y > 59
      local v = edge and 0xFFFF or ((x // 8 + y // 8) % 2 == 0 and 0xFC00 or 0x0000)  -- white frame, red checks
      pixels[#pixels + 1] = string.pack("<I2", v)
    end
  end
  check("logo: SetBitMap", logo:SetBitMap({ enPixelFormat = "RGB_1555", u32Width = 64, u32Height = 64,
                                            data = table.concat(pixels) }))
end
check("logo: AttachToChn", logo:AttachToChn(streams[1].channel, { bShow = true, enType = "OVERLAYEX",
  attr = { stPoint = { s32X = 64, s32Y = 960 }, u32FgAlpha = 128, u32BgAlpha = 0, u32Layer = 1 } }))

-- The camera's name and the time, rendered again every second.
local hasOsd, osd = pcall(require, "tessel.osd")
local clock
if hasOsd then
  clock = RGN.CreateRegion(2, { type = "OVERLAYEX", attr = { enPixelFmt = "RGB_1555", u32BgColor = 0,
                                                             stSize = { u32Width = 1024, u32Height = 64 } } })
  check("clock: AttachToChn", clock:AttachToChn(streams[1].channel, { bShow = true, enType = "OVERLAYEX",
    attr = { stPoint = { s32X = 64, s32Y = 120 }, u32FgAlpha = 128, u32BgAlpha = 0, u32Layer = 2 } }))
end
local started = os.time()
local function showClock(elapsed)
  if not clock then return end
  local text = "Front door  " .. os.date("%Y-%m-%d %H:%M:%S", started + elapsed)
  local bitmap = assert(osd.render(text, { size = 40, color = 0xFFFFFF, outline = 2, outlineColor = 0x000000 }))
  check("clock: SetBitMap", clock:SetBitMap(bitmap))
end
showClock(0)

-- Encoders.
for _, s in ipairs(streams) do
  s.venc = VENC.CreateChannel(s.venc, s.attrs)
  check(s.name .. ": CreateChannel", s.venc:GetAttr())
  check(s.name .. ": bind", SYS.Bind(s.channel, s.venc))
  check(s.name .. ": Start", s.venc:Start())
end
snapshot.venc = VENC.CreateChannel(snapshot.venc, snapshot.attrs)
check("snapshot: CreateChannel", snapshot.venc:GetAttr())
check("snapshot: bind", SYS.Bind(snapshot.channel, snapshot.venc))

os.execute("mkdir -p '" .. directory .. "'")
local function open(name) return assert(io.open(directory .. "/" .. name, "wb")) end

-- One picture for the snapshot.
check("snapshot: StartEx(1)", snapshot.venc:StartEx(1))
local jpeg = check("snapshot: GetStream", snapshot.venc:GetStream(-1))
local f = open("snapshot.jpg")
f:write(jpeg)
f:close()

-- Both streams for the time asked.
for _, s in ipairs(streams) do s.out, s.pictures, s.bytes = open(s.file), 0, 0 end
local want = seconds * 30
local encoders = { streams[1].venc, streams[2].venc }
while streams[1].pictures < want or streams[2].pictures < want do
  for _, ready in ipairs(SYS.Poll(encoders, 1000)) do
    for _, s in ipairs(streams) do
      if s.venc == ready and s.pictures < want then
        local data = check(s.name .. ": GetStream", s.venc:GetStream(0))
        s.out:write(data)
        s.pictures, s.bytes = s.pictures + 1, s.bytes + #data
        if s == streams[1] and s.pictures % 30 == 0 then showClock(s.pictures // 30) end
      end
    end
  end
end
for _, s in ipairs(streams) do
  s.out:close()
  print(string.format("%-5s %d pictures, %.0f kbit/s -> %s/%s", s.name, s.pictures, s.bytes * 8 / seconds / 1000,
                      directory, s.file))
end
print(string.format("snap  %d bytes -> %s/snapshot.jpg", #jpeg, directory))

-- Tear-down, in the reverse order.
for _, s in ipairs({ streams[1], streams[2], snapshot }) do
  s.venc:Stop()
  SYS.UnBind(s.channel, s.venc)
  s.venc:Destroy()
end
if clock then
  clock:DetachFromChn(streams[1].channel)
  clock:Destroy()
end
logo:DetachFromChn(streams[1].channel)
cover:DetachFromChn(streams[1].channel)
logo:Destroy()
cover:Destroy()
SYS.UnBind(vi, group:GetChannel(0))
group:Stop()
for _, s in ipairs(streams) do s.channel:Disable() end
snapshot.channel:Disable()
group:Destroy()
vi:Destroy()
dev:Disable()
check("SYS.Exit", SYS.Exit())
check("VB.Exit", VB.Exit())
if hasSim then
  for _, finding in ipairs(sim.check()) do print("finding: " .. finding.message) end
end
