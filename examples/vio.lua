-- Capture to display: one capture channel (1080p30 from a BT.1120 input)
-- feeds a processing group whose channel 0 fills the screen of an HDMI
-- device at 1080p60. It runs N seconds, takes a screenshot of what HDMI
-- shows, and tears everything down in the reverse order.
--
--   LUA_CPATH='build/lua/?.so;;' lua5.3 examples/vio.lua [--seconds N] [--out DIR] [--real]
--
-- On a PC it runs against the simulator in virtual time unless --real is
-- given (the capture shows its test pattern, colour bars, unless
-- sim.source gave it a file); on a board it runs in real time. Time moves
-- by taking the processing channel's pictures as they come (GetFrame, 30 a
-- second). It writes screen.png (sim.screenshot; on a board the layer's
-- picture as raw semi-planar 4:2:0 in screen.nv12) into DIR (default
-- vio-out).
require "tessel"
local VB, SYS, VI, VPSS, VO, HDMI = Tessel.VB, Tessel.SYS, Tessel.VI, Tessel.VPSS, Tessel.VO, Tessel.HDMI
local errors = require "tessel.errors"

local seconds, directory, realTime = 2, "vio-out", false
do
  local i, a = 1, arg or {}
  while a[i] do
    if a[i] == "--seconds" then seconds, i = assert(tonumber(a[i + 1]), "--seconds takes a number"), i + 1
    elseif a[i] == "--out" then directory, i = assert(a[i + 1], "--out takes a directory"), i + 1
    elseif a[i] == "--real" then realTime = true
    else error("unknown argument " .. a[i]) end
    i = i + 1
  end
end

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

local W, H, FPS = 1920, 1080, 30
os.execute("mkdir -p '" .. directory .. "'")

check("VB.Config", VB.Config(16, { { u32BlkSize = W * H * 3 // 2, u32BlkCnt = 16 } }))
check("VB.Init", VB.Init())
check("SYS.Init", SYS.Init())

-- Capture: device 0, channel 0, full HD at 30 pictures a second.
local viDev = VI.GetDevice(0)
check("VI device 0: ConfigMode", viDev:ConfigMode("BT1120", { YUVSeq = "UYVY", ClkEdge = "SINGLE_UP" }))
check("VI device 0: Enable", viDev:Enable())
local vi = viDev:GetChannel(0)
check("VI channel 0: SetAttr", vi:SetAttr({
  stCapRect = { s32X = 0, s32Y = 0, u32Width = W, u32Height = H }, stDestSize = { u32Width = W, u32Height = H },
  enCapSel = "BOTH", enScanMode = "PROGRESSIVE", enPixFormat = "YUV_SEMIPLANAR_420", bMirror = false, bFlip = false,
  s32SrcFrameRate = FPS, s32DstFrameRate = FPS }))
check("VI channel 0: Enable", vi:Enable())

-- Processing: group 0, channel 0 at full size, one picture kept for GetFrame.
local group = VPSS.CreateGroup(0, { u32MaxW = W, u32MaxH = H, enPixFmt = "YUV_SEMIPLANAR_420", enDieMode = "NODIE" })
check("VPSS.CreateGroup", group:GetAttr())
local vpss = group:GetChannel(0)
check("VPSS channel 0: SetMode", vpss:SetMode({ enChnMode = "USER", u32Width = W, u32Height = H,
                                                stFrameRate = { s32SrcFrmRate = -1, s32DstFrmRate = -1 },
                                                enPixelFormat = "YUV_SEMIPLANAR_420", enCompressMode = "NONE" }))
check("VPSS channel 0: SetDepth", vpss:SetDepth(1))
check("VPSS channel 0: Enable", vpss:Enable())
check("VPSS group 0: Start", group:Start())

-- Display: device 0 on HDMI at 1080p60, its layer, one full-screen channel.
local voDev = VO.GetDevice(0)
check("VO device 0: SetPubAttr", voDev:SetPubAttr({ u32BgColor = 0x000000, enIntfType = "HDMI",
                                                    enIntfSync = "1080P60" }))
check("VO device 0: Enable", voDev:Enable())
local hdmi = HDMI.GetInterface(0)  -- kept: a collected interface stops and closes
check("HDMI: Open", hdmi:Open())
check("HDMI: SetAttr", hdmi:SetAttr({ bEnableHdmi = true, bEnableVideo = true, enVideoFmt = "1080P60",
                                      enVidOutMode = "RGB444", enDeepColorMode = 255, bEnableAudio = false }))
check("HDMI: Start", hdmi:Start())
local layer = voDev:GetLayer()
check("VO layer: SetAttr", layer:SetAttr({ stDispRect = { 0, 0, W, H }, stImageSize = { W, H }, u32DispFrmRt = 60,
                                           enPixFormat = "YUV_SEMIPLANAR_420" }))
check("VO layer: Enable", layer:Enable())
local window = layer:GetChannel(0)  -- kept: a collected channel leaves the screen
check("VO channel 0: SetAttr", window:SetAttr({ u32Priority = 0, stRect = { 0, 0, W, H }, bDeflicker = false }))
check("VO channel 0: Enable", window:Enable())

check("bind capture -> processing", SYS.Bind(vi, vpss))
check("bind processing -> display", SYS.Bind(vpss, window))

-- N seconds of pictures: each GetFrame waits for the next one (and moves
-- virtual time to it); each goes back at once.
local shown = 0
for _ = 1, seconds * FPS do
  local frame = check("VPSS channel 0: GetFrame", vpss:GetFrame(1000))
  frame:Release()
  shown = shown + 1
end

if hasSim then
  local path = directory .. "/screen.png"
  local w, h = sim.screenshot("HDMI", path)
  print(string.format("%d pictures in %.2f s; screen %dx%d -> %s", shown, sim.now(), w, h, path))
else
  local screen = check("VO layer: GetScreenFrame", layer:GetScreenFrame(1000))
  local f = assert(io.open(directory .. "/screen.nv12", "wb"))
  f:write(check("screen: GetData", screen:GetData()))
  f:close()
  screen:Release()
  print(string.format("%d pictures; screen %dx%d -> %s/screen.nv12", shown, screen.Width, screen.Height, directory))
end

-- Tear-down, in the reverse order.
check("unbind processing -> display", SYS.UnBind(vpss, window))
check("unbind capture -> processing", SYS.UnBind(vi, vpss))
check("VO channel 0: Disable", window:Disable())
check("VO layer: Disable", layer:Disable())
check("HDMI: Stop", hdmi:Stop())
check("HDMI: Close", hdmi:Close())
check("VO device 0: Disable", voDev:Disable())
check("VPSS group 0: Stop", group:Stop())
check("VPSS channel 0: Disable", vpss:Disable())
check("VPSS group 0: Destroy", group:Destroy())
vi:Destroy()  -- disables the channel
check("VI device 0: Disable", viDev:Disable())
check("SYS.Exit", SYS.Exit())
check("VB.Exit", VB.Exit())
if hasSim then
  local findings = sim.check()
  for _, finding in ipairs(findings) do print("finding: " .. finding.message) end
  if #findings > 0 then os.exit(1) end
end
