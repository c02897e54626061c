-- Seeds of the robustness harness. Everything else it finds by itself; these
-- get objects past the simulator's checks, so that Create factories really
-- create and methods run on live platform objects.
--   setup   run before the objects of every round are made (given Tessel)
--   tables  attribute tables offered to every function during discovery
--   ready   per class, run on each object made for a round (open a device)
-- A module without seeds is still fuzzed; its objects just own nothing.

local function audioDevice(dev)
  dev:SetPubAttr({ enSamplerate = 8000, enBitwidth = 16, enWorkmode = "I2S_MASTER", enSoundmode = "MONO",
                   u32FrmNum = 30, u32PtNumPerFrm = 320, u32ChnCnt = 2 })
  dev:Enable()
end

local function picture(kind, width, height)
  return { type = kind, attr = { u32MaxPicWidth = width, u32MaxPicHeight = height,
                                 u32BufSize = width * height * 3 // 2, u32Profile = 1, bByFrame = true,
                                 u32PicWidth = width, u32PicHeight = height } }
end

-- A display: device timing, its video layer, a window.
local DISPLAY = { u32BgColor = 0, enIntfType = { "HDMI", "VGA" }, enIntfSync = "1080P60" }
local LAYER = { stDispRect = { s32X = 0, s32Y = 0, u32Width = 1920, u32Height = 1080 },
                stImageSize = { u32Width = 1920, u32Height = 1080 }, u32DispFrmRt = 60,
                enPixFormat = "YUV_SEMIPLANAR_420", bDoubleFrame = false, bClusterMode = false }
local WINDOW = { u32Priority = 0, stRect = { s32X = 0, s32Y = 0, u32Width = 960, u32Height = 540 }, bDeflicker = false }

-- Two black 16x16 pictures of H.264 (x264, Annex B, without its SEI).
local TINY_H264 =
  "\0\0\0\1\103\100\16\10\172\187\216\8\128\0\0\3\0\128\0\0\30\2\0\0\0\1\104\238\15\44\139\0" ..
  "\0\1\101\136\132\4\191\254\247\173\223\129\77\195\43\61\0\0\0\1\103\100\16\10\172\187\216" ..
  "\8\128\0\0\3\0\128\0\0\30\2\0\0\0\1\104\238\15\44\139\0\0\1\101\136\130\1\15\254\247\129" ..
  "\191\50\203\100\63\184"

-- Capture devices stay enabled while their objects live.
local devices = {}

-- One captured picture of w x h handed to use, from capture channel 0 run
-- just long enough: afterwards no picture is on its way, so that a later call
-- waiting without limit returns at once instead of waiting for the next.
local function captured(w, h, use)
  local chn = devices[0]:GetChannel(0)
  chn:SetAttr({ stCapRect = { s32X = 0, s32Y = 0, u32Width = w, u32Height = h },
                stDestSize = { u32Width = w, u32Height = h }, enCapSel = "BOTH", enScanMode = "PROGRESSIVE",
                enPixFormat = "YUV_SEMIPLANAR_420", s32SrcFrameRate = 30, s32DstFrameRate = 30 })
  chn:Enable()
  chn:SetFrameDepth(1)
  local frame = chn:GetFrame(1000)
  if frame then
    use(frame)
    frame:Release()
  end
  chn:Destroy()
end

local T

return {
  setup = function(namespace)
    T = namespace
    T.VB.Config(32, { { u32BlkSize = 1920 * 1080 * 3 // 2, u32BlkCnt = 4 },
                      { u32BlkSize = 720 * 576 * 3 // 2, u32BlkCnt = 4 } })
    T.VB.Init()
    T.SYS.Init()
    for dev = 0, 1 do
      devices[dev] = T.VI.GetDevice(dev)
      devices[dev]:ConfigMode("BT656")
      devices[dev]:Enable()
    end
  end,

  ready = {
    InnerCodec = function(codec) codec:Open() end,
    HDMIInterface = function(hdmi) hdmi:Open() end,
    -- audio devices hand out channels only once they have attributes, and
    -- resampling and voice enhancement need enabled channels
    AIDevice = audioDevice,
    AODevice = audioDevice,
    -- display devices, layers and channels are configured and enabled before hostile calls
    VODevice = function(dev) dev:SetPubAttr(DISPLAY); dev:Enable() end,
    VOLayer = function(layer) layer:SetAttr(LAYER); layer:Enable() end,
    VOChannel = function(chn) chn:SetAttr(WINDOW); chn:Enable() end,
    -- processing channels hold a picture to lend (GetFrame hands out VideoFrame objects),
    -- encoders one encoded picture (GetStream reads it); both are stopped again, as the
    -- platform destroys no running group or encoder
    VPSSChannel = function(chn)
      local group = T.VPSS.GetGroup(chn.DID)
      chn:Enable()
      chn:SetDepth(2)
      group:Start()
      captured(320, 240, function(frame) group:SendFrame(frame, 0) end)
      group:Stop()
    end,
    VENCChannel = function(chn)
      chn:Start()
      captured(320, 240, function(frame) chn:SendFrame(frame, 0) end)
      chn:Stop()
    end,
    -- decoders are given two pictures of 16x16 H.264 and stopped again, so that GetImage
    -- lends and the frames go back
    VDECChannel = function(chn)
      chn:Start()
      chn:SendStream(TINY_H264, { pts = 40000, endOfFrame = true })
      chn:SendStream("", { endOfStream = true })
      chn:Stop()
    end,
    AIChannel = function(chn) chn:Enable() end,
    AOChannel = function(chn) chn:Enable() end,
  },

  tables = {
    -- audio encoder and decoder channels: G.711 and G.726 frames of the audio devices' size
    { enType = "G711A", u32PtNumPerFrm = 320, u32BufSize = 30 },
    { enType = "G726", u32BufSize = 30, enMode = "STREAM", pValue = { enG726bps = "MEDIA_G726_32K" } },
    -- processing group
    { u32MaxW = 1920, u32MaxH = 1080, enPixFmt = "YUV_SEMIPLANAR_420", bNrEn = true, enDieMode = "NODIE" },
    -- encoder channels: H.264 CBR and MJPEG CBR (small: the seeds have them encode)
    { encoding = picture("H264", 352, 288),
      bitrate = { mode = "H264CBR", attr = { u32Gop = 30, u32StatTime = 1, u32SrcFrmRate = 30,
                                             fr32DstFrmRate = 30, u32BitRate = 4096, u32FluctuateLevel = 1 } } },
    { encoding = picture("MJPEG", 320, 240),
      bitrate = { mode = "MJPEGCBR", attr = { u32StatTime = 1, u32SrcFrmRate = 30, fr32DstFrmRate = 15,
                                              u32BitRate = 8192, u32FluctuateLevel = 1 } } },
    -- processing channel mode
    { enChnMode = "USER", u32Width = 1280, u32Height = 720,
      stFrameRate = { s32SrcFrmRate = -1, s32DstFrmRate = -1 },
      enPixelFormat = "YUV_SEMIPLANAR_420", enCompressMode = "NONE" },
    -- decoder channels: H.264 video and JPEG pictures, with their parameters; a stream's info
    { enType = "H264", u32BufSize = 1920 * 1080 * 3 // 2, u32Priority = 5, u32PicWidth = 1920,
      u32PicHeight = 1080, attr = { u32RefFrameNum = 2, enMode = "FRAME", bTemporalMvpEnable = false } },
    { enType = "JPEG", u32BufSize = 1920 * 1080, u32Priority = 5, u32PicWidth = 1920, u32PicHeight = 1080,
      attr = { enMode = "FRAME", enJpegFormat = "YCBCR420" } },
    { s32DisplayFrameNum = 2, enVideoFormat = "TILE", enCompressMode = "NONE" },
    { pts = 40000, endOfFrame = true, endOfStream = false },
    { type = "H264", param = { s32MaxSliceNum = 16, s32MaxSpsNum = 2, s32MaxPpsNum = 2 } },
    -- capture channel attributes, a user picture colour (refused: the picture mode the
    -- module sends needs a frame), as a hostile table
    { stCapRect = { s32X = 0, s32Y = 0, u32Width = 1920, u32Height = 1080 },
      stDestSize = { u32Width = 1280, u32Height = 720 }, enCapSel = "BOTH", enScanMode = "PROGRESSIVE",
      enPixFormat = "YUV_SEMIPLANAR_420", bMirror = false, bFlip = false, s32SrcFrameRate = 30,
      s32DstFrameRate = 25 },
    { u32BgColor = 0x00FF00 },
    -- display: device timing, layer, window, write-back attributes, zoom ratio, border
    DISPLAY, LAYER, WINDOW,
    { stTargetSize = { u32Width = 1280, u32Height = 720 }, enPixelFormat = "YUV_SEMIPLANAR_420", u32FrameRate = 25 },
    { 100, 100, 500, 500 },
    { u32TopWidth = 2, u32BottomWidth = 2, u32LeftWidth = 2, u32RightWidth = 2 },
    -- HDMI attributes
    { bEnableHdmi = true, bEnableVideo = true, enVideoFmt = "1080P60", enVidOutMode = "RGB444", enDeepColorMode = 24,
      bEnableAudio = true, enSoundIntf = "I2S", enSampleRate = 48000, enBitDepth = 16 },
    -- regions: an overlay and an extended cover, with channel attributes
    { type = "OVERLAY", attr = { enPixelFmt = "RGB_1555", u32BgColor = 0, stSize = { u32Width = 64, u32Height = 32 } } },
    { type = "COVEREX" }, { type = "COVER" }, { type = "LINE" }, { type = "MOSAIC" },
    { type = "OVERLAYEX", attr = { enPixelFmt = "RGB_4444", stSize = { u32Width = 64, u32Height = 32 } } },
    -- an overlay bitmap of 2 x 2 pixels
    { enPixelFormat = "RGB_1555", u32Width = 2, u32Height = 2, data = "\0\124\224\3\31\0\255\255" },
    { bShow = true, enType = "LINE", attr = { u32LineWidth = 2, u32LineColor = 0xFF,
                                              stLinePoints = { { s32X = 0, s32Y = 0 }, { s32X = 64, s32Y = 64 } } } },
    { bShow = true, enType = "MOSAIC", attr = { stRect = { s32X = 0, s32Y = 0, u32Width = 64, u32Height = 64 },
                                                enBlkSize = 1 } },
    { bShow = true, enType = "OVERLAY", attr = { stPoint = { s32X = 16, s32Y = 16 }, u32FgAlpha = 128 } },
    { bShow = true, enType = "COVEREX", attr = { enCoverType = "RECT",
                                                 cover = { s32X = 0, s32Y = 0, u32Width = 64, u32Height = 64 } } },
    -- audio: device attributes (mono and stereo), input VQE, channel parameter, fade
    { enSamplerate = 8000, enBitwidth = 16, enWorkmode = "I2S_MASTER", enSoundmode = "MONO", u32FrmNum = 30,
      u32PtNumPerFrm = 320, u32ChnCnt = 2 },
    { enSamplerate = 48000, enBitwidth = 16, enWorkmode = "I2S_SLAVE", enSoundmode = "STEREO", u32FrmNum = 30,
      u32PtNumPerFrm = 1024, u32ChnCnt = 2 },
    { bHpfOpen = 1, s32WorkSampleRate = 8000, s32FrameSample = 320, enWorkstate = "COMMON",
      stHpfCfg = { bUsrMode = true, enHpfFreq = 150 }, stAgcCfg = { bUsrMode = false } },
    { u32UsrFrmDepth = 4 },
    { ["in"] = 1, out = 2 },
    -- common pools
    { { u32BlkSize = 4096, u32BlkCnt = 2 }, { u32BlkSize = 8192, u32BlkCnt = 1 } },
  },
}
