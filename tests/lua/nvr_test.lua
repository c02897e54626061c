-- Streams in, pictures out: decoders fed with SendStream in any chunking,
-- pictures taken with GetImage or shown on the display, composed when
-- someone looks (screenshots, GetScreenFrame, the write-back), and every
-- picture lent given back exactly once. Inputs are made with the ffmpeg
-- command; what needs real codecs is pending with the stand-ins.
require "tessel"
local sim = require "tessel.sim"
local support = require "tests.lua.support"

local calls_named, s32 = support.calls_named, support.s32
local real = sim.codecs() == "ffmpeg"
local tools = os.execute("command -v ffmpeg >/dev/null 2>&1 && command -v ffprobe >/dev/null 2>&1")

local function sh(cmd)
  local p = assert(io.popen(cmd))
  local out = p:read("a")
  p:close()
  return out
end

local dir = os.tmpname()
os.remove(dir)
os.execute("mkdir -p '" .. dir .. "'")
local COLOURS = { "red", "green", "blue", "white" }
local RGB = { red = { 255, 0, 0 }, green = { 0, 128, 0 }, blue = { 0, 0, 255 }, white = { 255, 255, 255 } }
local input = {}  -- colour -> the stream's bytes: two seconds, 60 pictures of 640x360
if tools then
  for _, colour in ipairs(COLOURS) do
    local path = dir .. "/" .. colour .. ".h264"
    assert(os.execute(string.format("ffmpeg -v error -y -f lavfi -i color=c=%s:s=640x360:r=30 -t 2 -c:v libx264 " ..
                                    "-bsf:v h264_mp4toannexb -f h264 '%s'", colour, path)))
    local f = assert(io.open(path, "rb"))
    input[colour] = f:read("a")
    f:close()
  end
end

teardown(function()
  os.execute("rm -rf '" .. dir .. "'")
  sim.clock("real")
end)

-- The pixels of a PNG at the given points, as {r, g, b}.
local function pixels(path, points)
  local raw = sh(string.format("ffmpeg -v error -i '%s' -f rawvideo -pix_fmt rgb24 -", path))
  local width = tonumber(sh(string.format("ffprobe -v error -show_entries stream=width -of csv=p=0 '%s'", path)))
  local out = {}
  for i, p in ipairs(points) do
    local at = (p[2] * width + p[1]) * 3
    out[i] = { raw:byte(at + 1, at + 3) }
  end
  return out
end

local function near(rgb, want)
  for i = 1, 3 do
    if math.abs(rgb[i] - want[i]) > 24 then return false end
  end
  return true
end

local function needs(codecs)
  if not tools then return "needs the ffmpeg and ffprobe commands" end
  if codecs and not real then return "needs FFmpeg's codecs" end
end

-- The bytes cut at every start code that begins a picture (its parameter
-- sets and SEI with it), or into pieces of a fixed size.
local function frames(data)
  local out, from, sliced, at = {}, 1, false, 1
  while true do
    local s = data:find("\0\0\1", at, true)
    if not s or s + 4 > #data then break end
    local kind = data:byte(s + 3) & 0x1F
    local slice = kind == 1 or kind == 5
    local startCode = s > 1 and data:byte(s - 1) == 0 and s - 1 or s
    if sliced and (slice and data:byte(s + 4) >= 0x80 or kind >= 6 and kind <= 9) then
      out[#out + 1] = data:sub(from, startCode - 1)
      from, sliced = startCode, false
    end
    sliced = sliced or slice
    at = s + 3
  end
  out[#out + 1] = data:sub(from)
  return out
end

local function pieces(data, size)
  local out = {}
  for at = 1, #data, size do out[#out + 1] = data:sub(at, at + size - 1) end
  return out
end

local function decoder(n, mode, buffers)
  local chn = Tessel.VDEC.CreateChannel(n, { enType = "H264", u32BufSize = 640 * 360,
                                                      u32PicWidth = 640, u32PicHeight = 360,
                                                      attr = { u32RefFrameNum = 2, enMode = mode or "STREAM" } })
  assert(chn:GetAttr())
  if buffers then assert.are.equal(0, chn:SetVBCnt(buffers)) end
  assert.are.equal(0, chn:Start())
  return chn
end

-- Device 0 at 1080p60 (background in bg), its layer, channels in the grid.
local function display(bg)
  local dev = Tessel.VO.GetDevice(0)
  assert(dev:SetPubAttr({ u32BgColor = bg or 0, enIntfType = "HDMI", enIntfSync = "1080P60" }))
  assert.are.equal(0, dev:Enable())
  local layer = dev:GetLayer()
  assert(layer:SetAttr({ stDispRect = { 0, 0, 1920, 1080 }, stImageSize = { 1920, 1080 }, u32DispFrmRt = 60,
                         enPixFormat = "YUV_SEMIPLANAR_420" }))
  assert.are.equal(0, layer:Enable())
  local windows = {}
  for i = 0, 3 do
    windows[i + 1] = layer:GetChannel(i)
    assert(windows[i + 1]:SetAttr({ u32Priority = 0, stRect = { (i % 2) * 960, (i // 2) * 540, 960, 540 } }))
    assert.are.equal(0, windows[i + 1]:Enable())
  end
  return dev, layer, windows
end

local function fresh()
  support.fresh()
  sim.clock("virtual")
end

describe("examples/nvr.lua", function()
  local out = dir .. "/nvr"
  local ran, output
  setup(function()
    if needs(true) then return end
    local paths = {}
    for i, colour in ipairs(COLOURS) do paths[i] = string.format("'%s/%s.h264'", dir, colour) end
    local stdout, stderr, ok = support.run(string.format("arg = { %s, '--seconds', '1', '--out', '%s' }\n",
                                                         table.concat(paths, ", "), out) ..
                                           "dofile('examples/nvr.lua')")
    ran, output = ok, stdout .. stderr
  end)

  it("shows the four streams in their quadrants, channel 0 full screen, then the grid again", function()
    if needs(true) then return pending(needs(true)) end
    assert(ran, output)
    local quadrants = { { 480, 270 }, { 1440, 270 }, { 480, 810 }, { 1440, 810 } }
    for _, shot in ipairs({ "grid", "grid-again" }) do
      for i, rgb in ipairs(pixels(out .. "/" .. shot .. ".png", quadrants)) do
        assert.is_true(near(rgb, RGB[COLOURS[i]]), shot .. " quadrant " .. i .. ": " .. table.concat(rgb, ","))
      end
    end
    for i, rgb in ipairs(pixels(out .. "/full.png", { { 10, 10 }, { 1910, 10 }, { 10, 1070 }, { 1500, 900 } })) do
      assert.is_true(near(rgb, RGB.red), "full screen point " .. i .. ": " .. table.concat(rgb, ","))
    end
    assert.is_nil(output:match("finding:"), output)
  end)

  it("records the screen through write-back: 1080p H.264, 30 pictures for each second of each step", function()
    if needs(true) then return pending(needs(true)) end
    assert(ran, output)
    local probe = sh(string.format("ffprobe -v error -count_frames -show_entries " ..
                                   "stream=codec_name,width,height,nb_read_frames -of csv=p=0 '%s/screen.h264'", out))
    assert.are.equal("h264,1920,1080,90", probe:match("[^\n]+"))
  end)
end)

describe("VDECChannel:SendStream", function()
  before_each(fresh)

  it("decodes a stream cut at its pictures or anywhere into the same pictures", function()
    if needs() then return pending(needs()) end
    local data = input.blue
    for n, chunks in ipairs({ frames(data), pieces(data, 4096), pieces(data, 7) }) do
      local chn = decoder(n - 1, n == 1 and "FRAME" or "STREAM", 64)
      for i, chunk in ipairs(chunks) do assert.is_true(chn:SendStream(chunk, { pts = i, endOfFrame = true }, 0)) end
      assert.is_true(chn:SendStream("", { endOfStream = true }))
      local stat = chn:Query()
      assert.are.same({ 60, 60, 0 }, { stat.u32DecodeStreamFrames, stat.u32LeftPics, stat.u32LeftStreamBytes })
      local picture = assert(chn:GetImage(0))
      assert.are.equal("YUV_SEMIPLANAR_420", picture.PixelFormat)
      if real then  -- 640x360 blue: V below and U above the middle, in that order
        assert.are.same({ 640, 360 }, { picture.Width, picture.Height })
        local bytes = picture:GetData()
        local v, u = bytes:byte(640 * 360 + 1, 640 * 360 + 2)
        assert.is_true(v < 128 and u > 200, v .. " " .. u)
      end
    end
    assert.are.equal(60, #frames(data))
  end)

  it("stops decoding when its picture buffers are taken and its stream buffer is full", function()
    if needs() then return pending(needs()) end
    local chn = decoder(0, "FRAME")
    local pictures, refused = frames(input.red), nil
    for i = 1, 100000 do
      local ok, msg = chn:SendStream(pictures[(i - 1) % #pictures + 1], 0)
      if not ok then
        refused = msg
        break
      end
    end
    assert.matches("^Fail to send VDEC stream %[@SendStream: line %d+ %- error=A005800F%]$", refused)
    local stat = chn:Query()
    assert.are.equal(chn:GetVBCnt(), stat.u32LeftPics)
    assert.is_true(stat.u32LeftStreamBytes > 0)
    local held = { chn:GetImage(0), chn:GetImage(0) }
    assert.are.equal(2, #held)
    assert.are.equal(chn:GetVBCnt() - 2, chn:Query().u32LeftPics)  -- lent pictures still hold their buffers
    held[1]:Release()
    assert.are.equal(chn:GetVBCnt() - 1, chn:Query().u32LeftPics)  -- one more decoded into the freed buffer
  end)

  it("answers the platform's refusals and raises for wrong types", function()
    local chn = Tessel.VDEC.CreateChannel(0, { enType = "H264", u32BufSize = 640 * 360, u32PicWidth = 640,
                                               u32PicHeight = 360, attr = { u32RefFrameNum = 2, enMode = "STREAM" } })
    local ok, msg = chn:SendStream("\0\0\0\1\103", { pts = 5 })
    assert.is_nil(ok)
    assert.matches("^Fail to send VDEC stream %[@SendStream: line %d+ %- error=A0058009%]$", msg)
    local sent = support.last_call("HI_MPI_VDEC_SendStream")
    assert.are.same({ 0, 5, 5, 0, 0, -1 }, { sent.args[1], sent.args[2].u32Len, sent.args[2].u64PTS,
                                            sent.args[2].bEndOfFrame, sent.args[2].bEndOfStream, sent.args[3] })
    assert.are.equal(0, chn:Start())
    assert.is_true(chn:SendStream("", 25))
    assert.are.equal(25, support.last_call("HI_MPI_VDEC_SendStream").args[3])
    assert.has_error(function() chn:SendStream(42) end)
    assert.has_error(function() chn:SendStream("x", "info") end)
    assert.has_error(function() chn:SendStream("x", { pts = 0.5 }) end,
                     "bad argument #2 to 'SendStream' (pts must be an integer)")
    assert.has_error(function() chn:SendStream("x", {}, "soon") end)
    assert.has_error(function() chn:GetImage("soon") end)
    ok, msg = chn:GetImage(40)
    assert.is_nil(ok)
    assert.matches("^Fail to get VDEC image %[@GetImage: line %d+ %- error=A005800E%]$", msg)
  end)

  it("reports a stream of another payload and a send larger than the stream buffer", function()
    local chn = Tessel.VDEC.CreateChannel(0, { enType = "H264", u32BufSize = 640 * 360, u32PicWidth = 640,
                                               u32PicHeight = 360, attr = { u32RefFrameNum = 2, enMode = "FRAME" } })
    assert.are.equal(0, chn:Start())
    assert.is_true(chn:SendStream("\255\216\255\224\0\16JFIF\0", { endOfFrame = true }))
    assert.is_true(chn:SendStream(string.rep("\0", 640 * 360 + 1)))
    local rules = {}
    for _, f in ipairs(sim.check()) do rules[#rules + 1] = f.rule .. ": " .. f.message end
    assert.are.same({ "stream-of-another-payload: VDEC 0/0 decodes H.264 and was sent a JPEG stream: " ..
                      "a board decodes nothing of it",
                      "stream-larger-than-buffer: VDEC channel 0 was sent 230401 bytes at once; its stream " ..
                      "buffer holds 230400" }, rules)
    assert.are.equal(1, chn:Query().stVdecDecErr.s32FormatErr)
  end)
end)

describe("The display", function()
  before_each(fresh)

  it("composes shown channels by window, priority and visibility on the background colour", function()
    if needs() then return pending(needs()) end
    local dev, layer, windows = display(0x0000FF)
    local chn = decoder(0)
    assert(Tessel.SYS.Bind(chn, windows[1]))
    for _, chunk in ipairs(pieces(input.red, 4096)) do assert(chn:SendStream(chunk, -1)) end
    local shot = dir .. "/compose.png"
    local picture = real and RGB.red or { 130, 130, 130 }  -- the stand-ins decode grey pictures
    assert.are.same({ 1920, 1080 }, { sim.screenshot(dev, shot) })
    local got = pixels(shot, { { 480, 270 }, { 1440, 270 }, { 1440, 810 } })
    assert.is_true(near(got[1], picture), table.concat(got[1], ","))
    assert.is_true(near(got[2], RGB.blue) and near(got[3], RGB.blue))  -- nothing shown there yet
    -- channel 1 covers the whole layer below channel 0, then above it; hidden, it shows nothing
    assert(windows[2]:SetAttr({ u32Priority = 0, stRect = { 0, 0, 1920, 1080 } }))
    local shown = assert(windows[1]:GetFrame(0))
    assert.are.equal(0, windows[2]:SendFrame(shown))
    shown:Release()
    assert(windows[1]:SetAttr({ u32Priority = 1, stRect = { 0, 0, 960, 540 } }))
    sim.screenshot(0, shot)
    got = pixels(shot, { { 480, 270 }, { 1440, 810 } })
    assert.is_true(near(got[1], picture) and near(got[2], picture))
    assert.are.equal(0, windows[1]:Hide())
    assert.are.equal(0, windows[2]:Hide())
    sim.screenshot(0, shot)
    assert.is_true(near(pixels(shot, { { 480, 270 } })[1], RGB.blue))
    local screen = assert(layer:GetScreenFrame(0))
    assert.are.same({ 1920, 1080 }, { screen.Width, screen.Height })
    screen:Release()
  end)

  it("draws a decoded picture alike at any scale, read or not, and never changes a screen frame held", function()
    if needs(true) then return pending(needs(true)) end
    local path = dir .. "/pattern.h264"
    assert(os.execute(string.format("ffmpeg -v error -y -f lavfi -i testsrc=s=640x360:r=30 -frames:v 5 -c:v libx264 " ..
                                    "-bsf:v h264_mp4toannexb -f h264 '%s'", path)))
    local f = assert(io.open(path, "rb"))
    local pattern = f:read("a")
    f:close()
    local _, layer, windows = display()
    local rects = { { 0, 0, 640, 360 }, { 960, 0, 320, 180 }, { 0, 540, 958, 538 } }  -- as sent, halved, scaled up
    local chn = decoder(0)
    for i, rect in ipairs(rects) do
      assert(windows[i]:SetAttr({ u32Priority = 0, stRect = rect }))
      assert(Tessel.SYS.Bind(chn, windows[i]))
    end
    assert(chn:SendStream(pattern, -1))
    local held = assert(layer:GetScreenFrame(0))
    local first = assert(held:GetData())
    -- the picture shown, read once, then drawn again from what was read
    local shown = assert(windows[1]:GetFrame(0))
    assert(shown:GetData())
    shown:Release()
    assert.are.equal(0, windows[1]:Hide())
    assert(layer:GetScreenFrame(0)):Release()
    assert.are.equal(0, windows[1]:Show())
    local again = assert(layer:GetScreenFrame(0))
    assert.is_true(assert(again:GetData()) == first, "the screen differs once the picture was read")
    -- new pictures change the screen, not the frames held
    for _, chunk in ipairs(pieces(input.red, 4096)) do assert(chn:SendStream(chunk, -1)) end
    assert(layer:GetScreenFrame(0)):Release()
    local shot = dir .. "/held.png"
    sim.screenshot(0, shot)
    local got = pixels(shot, { { 320, 180 }, { 1120, 90 }, { 480, 810 } })
    for i = 1, 3 do assert.is_true(near(got[i], RGB.red), table.concat(got[i], ",")) end
    assert.is_true(assert(held:GetData()) == first and assert(again:GetData()) == first, "a screen frame held changed")
    held:Release()
    again:Release()
  end)

  it("draws new pictures under a window above them, and redraws a window moved", function()
    if needs() then return pending(needs()) end
    local dev, _, windows = display(0x0000FF)
    assert(windows[1]:SetAttr({ u32Priority = 0, stRect = { 0, 0, 1920, 1080 } }))
    assert(windows[2]:SetAttr({ u32Priority = 1, stRect = { 960, 540, 640, 360 } }))
    local under, above = decoder(0), decoder(1)
    assert(Tessel.SYS.Bind(under, windows[1]))
    assert(Tessel.SYS.Bind(above, windows[2]))
    local red, green = frames(input.red), frames(input.green)
    for _, chunk in ipairs(green) do assert(above:SendStream(chunk, -1)) end
    local half = #red // 2
    for i = 1, half do assert(under:SendStream(red[i], -1)) end
    local shot = dir .. "/pip.png"
    local decoded = real and { red = RGB.red, green = RGB.green } or { red = { 130, 130, 130 }, green = { 130, 130, 130 } }
    sim.screenshot(dev, shot)
    for i = half + 1, #red do assert(under:SendStream(red[i], -1)) end
    sim.screenshot(dev, shot)
    local got = pixels(shot, { { 1280, 720 }, { 480, 270 } })
    assert.is_true(near(got[1], decoded.green), table.concat(got[1], ","))
    assert.is_true(near(got[2], decoded.red), table.concat(got[2], ","))
    -- moved between two looks, and moved again while pictures arrive below it
    assert(windows[2]:SetAttr({ u32Priority = 1, stRect = { 0, 0, 640, 360 } }))
    sim.screenshot(dev, shot)
    got = pixels(shot, { { 320, 180 }, { 1280, 720 } })
    assert.is_true(near(got[1], decoded.green) and near(got[2], decoded.red), table.concat(got[2], ","))
    assert(windows[2]:SetAttr({ u32Priority = 1, stRect = { 1280, 0, 640, 360 } }))
    for _, chunk in ipairs(pieces(input.white, 4096)) do assert(under:SendStream(chunk, -1)) end
    sim.screenshot(dev, shot)
    got = pixels(shot, { { 320, 180 }, { 1600, 180 } })
    if real then assert.is_true(near(got[1], RGB.white), table.concat(got[1], ",")) end
    assert.is_true(near(got[2], decoded.green), table.concat(got[2], ","))
  end)

  it("keeps a paused channel's picture and shows one more for each step", function()
    if needs() then return pending(needs()) end
    local _, _, windows = display()
    local chn = decoder(0, "FRAME")
    assert(Tessel.SYS.Bind(chn, windows[1]))
    local pictures = frames(input.green)
    local function send(i) assert(chn:SendStream(pictures[i], { pts = i * 1000, endOfFrame = true }, 0)) end
    local function pts()
      local frame = assert(windows[1]:GetFrame(0))
      local at = frame.Pts
      frame:Release()
      return at
    end
    for i = 1, 4 do send(i) end
    local before = pts()
    assert.are.equal(0, windows[1]:Pause())
    for i = 5, 8 do send(i) end
    assert.are.equal(before, pts())
    assert.are.equal(0, windows[1]:Step())
    send(9)
    assert.is_true(pts() > before)
    local stepped = pts()
    send(10)
    assert.are.equal(stepped, pts())
    assert.are.equal(0, windows[1]:Resume())
    send(11)
    assert.is_true(pts() > stepped)
  end)

  it("reports channels left outside a layer whose picture shrank", function()
    local _, layer, windows = display()
    assert.are.equal(0, windows[2]:Disable())
    assert.are.equal(0, layer:Disable())
    assert(layer:SetAttr({ stDispRect = { 0, 0, 1920, 1080 }, stImageSize = { 1280, 720 }, u32DispFrmRt = 60,
                           enPixFormat = "YUV_SEMIPLANAR_420" }))
    local outside = {}
    for _, f in ipairs(sim.check()) do
      if f.rule == "channel-outside-layer" then outside[#outside + 1] = f.message:match("^(VOU %d/%d)") end
    end
    assert.are.same({ "VOU 0/1", "VOU 0/2", "VOU 0/3" }, outside)
  end)

  it("writes back nothing until its destination takes pictures, then one per frame period", function()
    local dev = display(0x00FF00)
    local wbc = Tessel.VO.GetWBC(0)
    assert(wbc:SetSource("DEVICE", dev))
    assert(wbc:SetAttr({ stTargetSize = { 640, 360 }, enPixelFormat = "YUV_SEMIPLANAR_420", u32FrameRate = 30 }))
    assert.are.equal(0, wbc:Enable())
    local venc = Tessel.VENC.CreateChannel(0, {
      encoding = { type = "H264", attr = { u32MaxPicWidth = 640, u32MaxPicHeight = 360, u32PicWidth = 640,
                                           u32PicHeight = 360, u32BufSize = 640 * 360 * 2 } },
      bitrate = { mode = "H264CBR", attr = { u32Gop = 30, u32StatTime = 1, u32SrcFrmRate = 30, fr32DstFrmRate = 30,
                                             u32BitRate = 512 } } })
    assert(Tessel.SYS.Bind(wbc, venc))
    local ok, msg = venc:GetStream(100)  -- not receiving: nothing is composed
    assert.is_nil(ok, msg)
    assert.are.equal(0, venc:Start())
    local first = select(2, assert(venc:GetStream(-1))).pts
    local second = select(2, assert(venc:GetStream(-1))).pts
    assert.are.equal(33333, second - first)
    assert.are.equal(0, venc:Stop())
    Tessel.SYS.UnBind(wbc, venc)
    assert.are.equal(0, wbc:Disable())
  end)
end)

describe("Pictures lent by decoders and the display", function()
  before_each(fresh)

  it("go back exactly once: Release, a second Release, collection, and a refused release", function()
    if needs() then return pending(needs()) end
    local _, layer, windows = display()
    local chn = decoder(0)
    for _, chunk in ipairs(pieces(input.white, 4096)) do assert(chn:SendStream(chunk, 0)) end
    local image = assert(chn:GetImage(0))
    local collected = { assert(chn:GetImage(0)), assert(layer:GetScreenFrame(0)) }
    assert.are.equal(0, windows[1]:SendFrame(image))
    local shown = assert(windows[1]:GetFrame(0))
    sim.clear()
    assert.are.same({ 0, 0 }, { image:Release(), image:Release() })
    assert.are.same({ 0, 0 }, { shown:Release(), shown:Release() })
    assert.are.equal(1080, collected[2].Height)
    collected = nil  -- luacheck: ignore 311
    collectgarbage()
    collectgarbage()
    local names = {}
    for _, c in ipairs(sim.calls()) do
      names[#names + 1] = c.name
      assert.are.equal(0, c.ret)
    end
    table.sort(names)
    assert.are.same({ "HI_MPI_VDEC_ReleaseImage", "HI_MPI_VDEC_ReleaseImage", "HI_MPI_VO_ReleaseChnFrame",
                      "HI_MPI_VO_ReleaseScreenFrame" }, names)
    assert.are.equal(0, calls_named("HI_MPI_VDEC_ReleaseImage")[1].args[1])
    -- a release the platform refuses is not tried again
    local again = assert(chn:GetImage(0))
    sim.fail("HI_MPI_VDEC_ReleaseImage", 0xA0058003)
    assert.are.equal(s32(0xA0058003), again:Release())
    assert.are.equal(0, again:Release())
    assert.are.equal(3, #calls_named("HI_MPI_VDEC_ReleaseImage"))
  end)
end)
