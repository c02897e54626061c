-- A network video recorder's screen: four H.264 streams decoded (playback
-- mode, fed picture by picture with VDECChannel:SendStream) into a 2x2 grid
-- on HDMI at 1080p60; then channel 0 full screen, then the grid again. The
-- screen is recorded through the display's write-back into an H.264 encoder
-- (1080p30), and a screenshot is taken after each step.
--
--   LUA_CPATH='build/lua/?.so;;' lua5.3 examples/nvr.lua [a.h264 b.h264 c.h264 d.h264]
--                                       [--seconds N] [--out DIR] [--real]
--
-- The inputs are Annex B H.264 files of at most 1920x1080 (played in a loop).
-- Without them it makes four of its own with the ffmpeg command (Debian
-- package ffmpeg): 640x360, 30 pictures a second, red, green, blue and
-- white, each with a moving black square.
--
-- On a PC it runs against the simulator in virtual time (as fast as the
-- machine decodes and encodes) unless --real is given; on a board it runs in
-- real time. Each step lasts N seconds of screen (default 2). It writes
-- screen.h264 (the recording) and grid.png, full.png and grid-again.png
-- (sim.screenshot of what HDMI shows; on a board, the layer's picture as
-- raw semi-planar 4:2:0 in .nv12 files) into DIR (default nvr-out).
require "tessel"
local VB, SYS, VO, VDEC, VENC, HDMI = Tessel.VB, Tessel.SYS, Tessel.VO, Tessel.VDEC, Tessel.VENC, Tessel.HDMI
local errors = require "tessel.errors"

local files, seconds, directory, realTime = {}, 2, "nvr-out", false
do
  local i, a = 1, arg or {}
  while a[i] do
    if a[i] == "--seconds" then seconds, i = assert(tonumber(a[i + 1]), "--seconds takes a number"), i + 1
    elseif a[i] == "--out" then directory, i = a[i + 1], i + 1
    elseif a[i] == "--real" then realTime = true
    else files[#files + 1] = a[i] end
    i = i + 1
  end
end
assert(#files == 0 or #files == 4, "give four H.264 files, or none")

local hasSim, sim = pcall(require, "tessel.sim")
if hasSim and not realTime then sim.clock("virtual") end

-- Stops with the call's name and the platform's reason (typed calls answer 0, raw calls a value).
local function check(what, result, message)
  if result == nil or (math.type(result) == "integer" and result ~= 0) then
    local code = message or result
    error(string.format("%s: %s%s", what, message or string.format("error %08X", result & 0xFFFFFFFF),
                        errors.name(code) and " (" .. errors.name(code) .. ")" or ""), 2)
  end
  return result
end

os.execute("mkdir -p '" .. directory .. "'")

if #files == 0 then
  assert(os.execute("command -v ffmpeg >/dev/null"), "no input files given, and no ffmpeg command to make them")
  for _, colour in ipairs({ "red", "green", "blue", "white" }) do
    local path = directory .. "/" .. colour .. ".h264"
    local source = string.format("color=c=%s:s=640x360:r=30,drawbox=x='mod(t*240,600)':y=160:w=40:h=40:" ..
                                 "color=black:t=fill", colour)
    assert(os.execute(string.format("ffmpeg -v error -y -f lavfi -i \"%s\" -t 4 -c:v libx264 -g 30 " ..
                                    "-bsf:v h264_mp4toannexb -f h264 '%s'", source, path)), "ffmpeg failed")
    files[#files + 1] = path
  end
end

-- The pictures of an Annex B H.264 stream: a picture starts at a slice
-- whose first macroblock is 0, or at the parameter sets, SEI or delimiter
-- before it, once the picture before has had its slices.
local function pictures(data)
  local out, from, sliced, at = {}, 1, false, 1
  while true do
    local s = data:find("\0\0\1", at, true)
    if not s or s + 4 > #data then break end
    local header = data:byte(s + 3)
    local kind = header & 0x1F
    local slice = kind == 1 or kind == 5
    local begins = slice and data:byte(s + 4) >= 0x80 or kind >= 6 and kind <= 9
    local startCode = s > 1 and data:byte(s - 1) == 0 and s - 1 or s
    if sliced and begins then
      out[#out + 1] = data:sub(from, startCode - 1)
      from, sliced = startCode, false
    end
    sliced = sliced or slice
    at = s + 3
  end
  out[#out + 1] = data:sub(from)
  return out
end

local W, H = 1920, 1080
local GRID = { { 0, 0, 960, 540 }, { 960, 0, 960, 540 }, { 0, 540, 960, 540 }, { 960, 540, 960, 540 } }

check("VB.Config", VB.Config(16, { { u32BlkSize = W * H * 3 // 2, u32BlkCnt = 24 } }))
check("VB.Init", VB.Init())
check("SYS.Init", SYS.Init())

-- The display: device 0 on HDMI, its video layer, four windows.
local dev = VO.GetDevice(0)
check("VO device 0: SetPubAttr", dev:SetPubAttr({ u32BgColor = 0x202020, enIntfType = "HDMI", enIntfSync = "1080P60" }))
check("VO device 0: Enable", dev:Enable())
local hdmi = HDMI.GetInterface(0)  -- kept: a collected interface stops and closes
check("HDMI: Open", hdmi:Open())
check("HDMI: SetAttr", hdmi:SetAttr({ bEnableHdmi = true, bEnableVideo = true, enVideoFmt = "1080P60",
                                      enVidOutMode = "RGB444", enDeepColorMode = 255, bEnableAudio = false }))
check("HDMI: Start", hdmi:Start())
local layer = dev:GetLayer()
check("VO layer: SetAttr", layer:SetAttr({ stDispRect = { 0, 0, W, H }, stImageSize = { W, H }, u32DispFrmRt = 60,
                                           enPixFormat = "YUV_SEMIPLANAR_420" }))
check("VO layer: Enable", layer:Enable())

-- Four decoders, each feeding its window, played at 30 pictures a second.
local channels = {}
for i = 1, 4 do
  local f = assert(io.open(files[i], "rb"))
  local c = { pictures = pictures(f:read("a")), next = 1, pts = 0 }
  f:close()
  c.window = layer:GetChannel(i - 1)
  check("VO channel: SetAttr", c.window:SetAttr({ u32Priority = 0, stRect = GRID[i], bDeflicker = false }))
  check("VO channel: SetFrameRate", c.window:SetFrameRate(30))
  check("VO channel: Enable", c.window:Enable())
  c.decoder = VDEC.CreateChannel(i - 1, { enType = "H264", u32BufSize = W * H, u32PicWidth = W, u32PicHeight = H,
                                          attr = { u32RefFrameNum = 2, enMode = "FRAME" } })
  check("VDEC.CreateChannel", c.decoder:GetAttr())
  check("VDEC: SetDisplayMode", c.decoder:SetDisplayMode("PLAYBACK"))
  check("VDEC: Start", c.decoder:Start())
  check("bind decoder -> window", SYS.Bind(c.decoder, c.window))
  channels[i] = c
end

-- Fills a decoder's stream buffer without waiting, the file over and over.
local function feed(c)
  while true do
    local ok, message = c.decoder:SendStream(c.pictures[c.next], { pts = c.pts, endOfFrame = true }, 0)
    if not ok then
      if errors.name(message) ~= "HI_ERR_VDEC_BUF_FULL" then check("VDEC: SendStream", ok, message) end
      return
    end
    c.next, c.pts = c.next % #c.pictures + 1, c.pts + 33333
  end
end

-- The recording: the device's picture written back at 30 pictures a second.
local wbc = VO.GetWBC(0)
check("write-back: SetSource", wbc:SetSource("DEVICE", dev))
check("write-back: SetAttr", wbc:SetAttr({ stTargetSize = { W, H }, enPixelFormat = "YUV_SEMIPLANAR_420",
                                           u32FrameRate = 30 }))
check("write-back: Enable", wbc:Enable())
local recorder = VENC.CreateChannel(0, {
  encoding = { type = "H264", attr = { u32MaxPicWidth = W, u32MaxPicHeight = H, u32PicWidth = W, u32PicHeight = H,
                                       u32BufSize = W * H * 2, u32Profile = 1, bByFrame = true } },
  bitrate = { mode = "H264CBR", attr = { u32Gop = 30, u32StatTime = 1, u32SrcFrmRate = 30, fr32DstFrmRate = 30,
                                         u32BitRate = 4096, u32FluctuateLevel = 1 } } })
check("VENC.CreateChannel", recorder:GetAttr())
check("bind write-back -> encoder", SYS.Bind(wbc, recorder))
check("VENC: Start", recorder:Start())

local function grid()
  check("SetAttrBegin", layer:SetAttrBegin())
  for i, c in ipairs(channels) do
    check("VO channel: SetAttr", c.window:SetAttr({ u32Priority = 0, stRect = GRID[i], bDeflicker = false }))
    check("VO channel: Show", c.window:Show())
  end
  check("SetAttrEnd", layer:SetAttrEnd())
end

local function fullScreen(n)
  check("SetAttrBegin", layer:SetAttrBegin())
  for i, c in ipairs(channels) do
    if i == n then
      check("VO channel: SetAttr", c.window:SetAttr({ u32Priority = 1, stRect = { 0, 0, W, H }, bDeflicker = false }))
    else
      check("VO channel: Hide", c.window:Hide())
    end
  end
  check("SetAttrEnd", layer:SetAttrEnd())
end

local function screenshot(name)
  if hasSim then
    local path = directory .. "/" .. name .. ".png"
    local w, h = sim.screenshot("HDMI", path)
    print(string.format("%-10s %dx%d -> %s", name, w, h, path))
  else
    local screen = check("GetScreenFrame", layer:GetScreenFrame(1000))
    local f = assert(io.open(directory .. "/" .. name .. ".nv12", "wb"))
    f:write(check("screen: GetData", screen:GetData()))
    f:close()
    screen:Release()
    print(string.format("%-10s %dx%d -> %s/%s.nv12", name, screen.Width, screen.Height, directory, name))
  end
end

-- Each step: the layout, N seconds of screen recorded while the decoders
-- are kept fed, a screenshot.
local out = assert(io.open(directory .. "/screen.h264", "wb"))
local recorded = 0
for _, step in ipairs({ { "grid", grid }, { "full", function() fullScreen(1) end }, { "grid-again", grid } }) do
  step[2]()
  for _ = 1, seconds * 30 do
    for _, c in ipairs(channels) do feed(c) end
    out:write(check("recording: GetStream", recorder:GetStream(-1)))
    recorded = recorded + 1
  end
  screenshot(step[1])
end
out:close()
print(string.format("recording  %d pictures -> %s/screen.h264", recorded, directory))

-- Tear-down, in the reverse order.
recorder:Stop()
SYS.UnBind(wbc, recorder)
recorder:Destroy()
wbc:Disable()
for _, c in ipairs(channels) do
  c.decoder:Stop()
  SYS.UnBind(c.decoder, c.window)
  c.decoder:Destroy()
  c.window:Disable()
end
layer:Disable()
hdmi:Stop()
hdmi:Close()
dev:Disable()
check("SYS.Exit", SYS.Exit())
check("VB.Exit", VB.Exit())
if hasSim then
  for _, finding in ipairs(sim.check()) do print("finding: " .. finding.message) end
end
