-- The camera example's recordings, judged by FFmpeg's own tools: what a
-- player sees in the files a script wrote from GetStream.
require "tessel"
local sim = require "tessel.sim"
local support = require "tests.lua.support"

local real = sim.codecs() == "ffmpeg" and os.execute("command -v ffprobe >/dev/null 2>&1")

local sh = support.sh

local function probe(path, entries, extra)
  local out = sh(string.format("ffprobe -v error %s -select_streams v:0 -show_entries %s -of default=nw=1 '%s'",
                               extra or "", entries, path))
  local t = {}
  for k, v in out:gmatch("([%w_]+)=([^\n]*)") do t[k] = tonumber(v) or v end
  return t
end

describe("examples/camera.lua", function()
  local dir = os.tmpname()
  os.remove(dir)
  local seconds = 4

  setup(function()
    local out, err, ok = support.run(string.format("arg = { '%d', '%s' }\n", seconds, dir) ..
                                     "dofile('examples/camera.lua')")
    assert(ok, out .. err)
  end)
  teardown(function() os.execute("rm -rf '" .. dir .. "'") end)

  it("records the main stream as 1080p H.264 with an IDR every 30 pictures at its bit rate", function()
    if not real then return pending("needs FFmpeg's codecs and ffprobe") end
    local s = probe(dir .. "/main.h264", "stream=codec_name,profile,width,height,nb_read_frames", "-count_frames")
    assert.are.same({ "h264", 1920, 1080, seconds * 30 }, { s.codec_name, s.width, s.height, s.nb_read_frames })
    assert.are.equal("Constrained Baseline", s.profile)
    local keys = sh("ffprobe -v error -select_streams v:0 -show_entries frame=key_frame -of csv=p=0 '" ..
                    dir .. "/main.h264'")
    local n, at = 0, {}
    for k in keys:gmatch("%d") do
      if k == "1" then at[#at + 1] = n end
      n = n + 1
    end
    for i = 2, #at do assert.are.equal(30, at[i] - at[i - 1]) end
    local f = assert(io.open(dir .. "/main.h264", "rb"))
    local kbps = f:seek("end") * 8 / seconds / 1000
    f:close()
    assert.is_true(math.abs(kbps - 4096) <= 4096 * 0.15, "average " .. kbps .. " kbit/s")
  end)

  it("records the sub-stream as 720p H.265", function()
    if not real then return pending("needs FFmpeg's codecs and ffprobe") end
    local s = probe(dir .. "/sub.h265", "stream=codec_name,width,height,nb_read_frames", "-count_frames")
    assert.are.same({ "hevc", 1280, 720, seconds * 30 }, { s.codec_name, s.width, s.height, s.nb_read_frames })
  end)

  it("takes a snapshot that decodes at full size", function()
    if not real then return pending("needs FFmpeg's codecs and ffprobe") end
    local s = probe(dir .. "/snapshot.jpg", "stream=codec_name,width,height")
    assert.are.same({ "mjpeg", 1920, 1080 }, { s.codec_name, s.width, s.height })
  end)

  it("draws the privacy cover in its colour and the logo on the main stream", function()
    if not real then return pending("needs FFmpeg's codecs and ffprobe") end
    local function luma(x, y, w, h)
      local raw = sh(string.format("ffmpeg -v error -i '%s/main.h264' -frames:v 1 -vf crop=%d:%d:%d:%d " ..
                                   "-f rawvideo -pix_fmt gray -", dir, w, h, x, y))
      local sum = 0
      for i = 1, #raw do sum = sum + raw:byte(i) end
      return sum / #raw
    end
    assert.is_true(luma(1520, 720, 280, 200) < 24)             -- the black cover
    assert.is_true(luma(64, 960, 4, 64) > 200)                  -- the logo's white frame
  end)
end)

describe("GetStream in virtual time", function()
  it("stamps pictures one frame period apart and marks the keyframes", function()
    sim.reset()
    sim.clock("virtual")
    assert(Tessel.VB.Config(4, { { u32BlkSize = 320 * 240 * 2, u32BlkCnt = 4 } }) == 0 and Tessel.VB.Init() == 0)
    assert(Tessel.SYS.Init() == 0)
    local dev = Tessel.VI.GetDevice(0)
    assert(dev:ConfigMode("BT1120", { YUVSeq = "UYVY", ClkEdge = "SINGLE_UP" }) and dev:Enable() == 0)
    local vi = dev:GetChannel(0)
    assert(vi:SetAttr({ stCapRect = { s32X = 0, s32Y = 0, u32Width = 320, u32Height = 240 },
                        stDestSize = { u32Width = 320, u32Height = 240 }, enPixFormat = "YUV_SEMIPLANAR_420",
                        s32SrcFrameRate = 30, s32DstFrameRate = 30 }))
    assert(vi:Enable() == 0)
    local venc = Tessel.VENC.CreateChannel(0, {
      encoding = { type = "H264", attr = { u32MaxPicWidth = 320, u32MaxPicHeight = 240, u32PicWidth = 320,
                                           u32PicHeight = 240, u32BufSize = 320 * 240 * 2 } },
      bitrate = { mode = "H264CBR", attr = { u32Gop = 10, u32StatTime = 1, u32SrcFrmRate = 30,
                                             fr32DstFrmRate = 30, u32BitRate = 256 } } })
    assert(venc:Start() == 0)
    local group = Tessel.VPSS.CreateGroup(0, { u32MaxW = 320, u32MaxH = 240, enPixFmt = "YUV_SEMIPLANAR_420",
                                               enDieMode = "NODIE" })
    assert(group:GetChannel(0):Enable() == 0 and group:Start() == 0)
    assert(Tessel.SYS.Bind(vi, group:GetChannel(0)) and Tessel.SYS.Bind(group:GetChannel(0), venc))
    local last
    for i = 0, 20 do
      local data, info = venc:GetStream()
      assert.is_string(data)
      if last then assert.are.equal(33333, info.pts - last) end
      last = info.pts
      assert.are.equal(i % 10 == 0, info.keyframe)
      if info.keyframe then
        assert.are.same({ "SPS", "PPS" }, { info.packs[1].type, info.packs[2].type })
      end
    end
    assert.are.equal(last / 1e6, sim.now())
    sim.clock("real")
    sim.reset()
  end)
end)
