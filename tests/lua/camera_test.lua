-- The camera data path: encoded streams read with GetStream, pictures lent as
-- VideoFrame objects and handed on with SendFrame, overlay bitmaps and
-- canvases, and SYS.Poll. Every stream and picture the platform lends must go
-- back exactly once, whether the script releases it, drops it, or a call
-- fails or raises half-way.
require "tessel"
local sim = require "tessel.sim"
local support = require "tests.lua.support"

local calls_named, s32 = support.calls_named, support.s32
local W, H = 320, 240

local function count(name) return #calls_named(name) end

local function encoderAttrs(payload, mode, attr)
  return { encoding = { type = payload, attr = { u32MaxPicWidth = W, u32MaxPicHeight = H, u32BufSize = W * H * 2,
                                                 u32PicWidth = W, u32PicHeight = H, bByFrame = true } },
           bitrate = { mode = mode, attr = attr } }
end
local H264 = encoderAttrs("H264", "H264CBR", { u32Gop = 30, u32StatTime = 1, u32SrcFrmRate = 30, fr32DstFrmRate = 30,
                                               u32BitRate = 256 })

-- Capture channel 0 -> processing group 0 (channels 0 and 1 enabled) in
-- virtual time; encoders are added by the tests. Answers the objects, which
-- the caller keeps alive.
local function camera()
  support.fresh()
  sim.clock("virtual")
  local p = { dev = Tessel.VI.GetDevice(0) }
  assert(p.dev:ConfigMode("BT656"))
  assert(p.dev:Enable() == 0)
  p.vi = p.dev:GetChannel(0)
  assert(p.vi:SetAttr({ stCapRect = { 0, 0, W, H }, stDestSize = { W, H }, enCapSel = "BOTH",
                        enScanMode = "PROGRESSIVE", enPixFormat = "YUV_SEMIPLANAR_420",
                        s32SrcFrameRate = 30, s32DstFrameRate = 30 }))
  assert(p.vi:Enable() == 0)
  p.group = Tessel.VPSS.CreateGroup(0, { u32MaxW = W, u32MaxH = H, enPixFmt = "YUV_SEMIPLANAR_420",
                                         enDieMode = "NODIE" })
  p.chn = { p.group:GetChannel(0), p.group:GetChannel(1) }
  assert(p.chn[1]:Enable() == 0 and p.chn[2]:Enable() == 0 and p.group:Start() == 0)
  assert(Tessel.SYS.Bind(p.vi, p.group))
  return p
end

local function encoder(p, n, attrs, from)
  local venc = Tessel.VENC.CreateChannel(n, attrs or H264)
  assert(Tessel.SYS.Bind(from or p.chn[1], venc))
  assert(venc:Start() == 0)
  return venc
end

teardown(function() sim.clock("real") end)

describe("VENCChannel:GetStream", function()
  local p, venc
  before_each(function()
    p = camera()
    venc = encoder(p, 0)
    sim.clear()
  end)

  it("copies every pack of a picture into one string described pack by pack, and releases it once", function()
    local data, info = venc:GetStream(-1)
    -- parameter sets first, the IDR slice last (an encoder may put SEI between)
    assert.are.same({ "SPS", "PPS", "IDR" }, { info.packs[1].type, info.packs[2].type, info.packs[#info.packs].type })
    assert.is_true(info.keyframe)
    local pieces, total = {}, 0
    for i, pack in ipairs(info.packs) do
      assert.are.equal(total + 1, pack.offset)
      assert.are.equal(info.pts, pack.pts)
      assert.are.equal(i == #info.packs, pack.frameEnd)
      pieces[#pieces + 1] = data:sub(pack.offset, pack.offset + pack.length - 1)
      total = total + pack.length
    end
    assert.are.equal(#data, total)
    assert.are.equal("\0\0\0\1", pieces[1]:sub(1, 4))  -- Annex B, start codes included
    local second, next = venc:GetStream(-1)
    assert.is_false(next.keyframe)
    assert.are.same({ "P", 1 }, { next.packs[#next.packs].type, next.seq })
    assert.is_true(next.pts > info.pts)
    assert.is_string(second)
    -- the payload is learnt once; each picture is queried, got and released once
    assert.are.same({ 1, 2, 2, 2 }, { count("HI_MPI_VENC_GetChnAttr"), count("HI_MPI_VENC_Query"),
                                      count("HI_MPI_VENC_GetStream"), count("HI_MPI_VENC_ReleaseStream") })
    for _, c in ipairs(calls_named("HI_MPI_VENC_ReleaseStream")) do assert.are.equal(0, c.ret) end
  end)

  it("names the packs by payload: H.265 names, JPEG pictures always key pictures", function()
    local h265 = encoder(p, 1, encoderAttrs("H265", "H265CBR", { u32Gop = 30, u32StatTime = 1, u32SrcFrmRate = 30,
                                                                fr32DstFrmRate = 30, u32BitRate = 256 }), p.chn[2])
    local _, info = h265:GetStream(-1)
    local types = {}
    for _, pack in ipairs(info.packs) do types[#types + 1] = pack.type end
    if math.type(types[1]) == "integer" then
      -- stand-in codecs make H.264 packs for every payload: numbers H.265 has no name for
      assert.are.same({ 7, 8, 5 }, types)
    else
      assert.are.same({ "VPS", "SPS", "PPS" }, { types[1], types[2], types[3] })
    end
    local jpeg = Tessel.VENC.CreateChannel(2, encoderAttrs("JPEG", "MJPEGFIXQP", { u32Qfactor = 90 }))
    assert(Tessel.SYS.Bind(p.chn[2], jpeg) and jpeg:StartEx(1) == 0)
    local _, shot = jpeg:GetStream(-1)
    assert.is_true(shot.keyframe)
    local jpegNames = { ECS = true, APP = true, VDO = true, PIC = true }
    for _, pack in ipairs(shot.packs) do assert.is_true(jpegNames[pack.type], pack.type) end
  end)

  it("learns the payload again after SetAttr", function()
    venc:GetStream(-1)
    venc:SetAttr(venc:GetAttr())
    venc:GetStream(-1)
    assert.are.equal(3, count("HI_MPI_VENC_GetChnAttr"))
  end)

  it("reports a wait that ends without a picture, and a refused call, with the platform's code", function()
    local idle = Tessel.VENC.CreateChannel(3, H264)  -- created, never started
    local before = sim.now()
    local ok, msg = idle:GetStream(200)
    assert.is_nil(ok)
    assert.matches("^Fail to get VENC stream %[@GetStream: line %d+ %- error=A008800E%]$", msg)
    assert.are.near(0.2, sim.now() - before, 1e-6)
    assert.matches("error=A008800E", select(2, idle:GetStream(0)))
    sim.fail("HI_MPI_VENC_GetStream", 0xA0088003)  -- also for a picture waiting: no retry with a guess
    assert.matches("error=A0088003", select(2, venc:GetStream(-1)))
    sim.fail("HI_MPI_VENC_Query", 0xA0088005)
    assert.matches("^Fail to get VENC stream .*error=A0088005%]$", select(2, venc:GetStream(-1)))
    assert.are.equal(0, count("HI_MPI_VENC_ReleaseStream"))
    local bad = pcall(venc.GetStream, venc, "soon")
    assert.is_false(bad)
  end)

  it("gives the stream back when the platform refuses the release, and reports it", function()
    sim.fail("HI_MPI_VENC_ReleaseStream", 0xA0088003)
    local ok, msg = venc:GetStream(-1)
    assert.is_nil(ok)
    assert.matches("^Fail to release VENC stream .*error=A0088003%]$", msg)
    assert.are.equal(1, count("HI_MPI_VENC_ReleaseStream"))
  end)

  it("releases the stream once when building the result raises, and raises the error", function()
    -- the first call GetStream makes is the protected building of the result
    local getStream, armed = venc.GetStream, false
    debug.sethook(function()
      local f = debug.getinfo(2, "f").func
      if f == getStream then
        armed = true
      elseif armed then
        armed = false
        error("interrupted")
      end
    end, "c")
    local ok, err = pcall(getStream, venc, -1)
    debug.sethook()
    assert.is_false(ok)
    assert.matches("interrupted", err)
    local released = calls_named("HI_MPI_VENC_ReleaseStream")
    assert.are.equal(1, #released)
    assert.are.equal(0, released[1].ret)
    assert.is_string(venc:GetStream(-1))  -- the channel goes on
  end)
end)

describe("VideoFrame", function()
  local p
  before_each(function() p = camera() end)

  it("is lent only once the channel has a depth, and describes the picture", function()
    local none, msg = p.chn[1]:GetFrame(0)
    assert.is_nil(none)
    assert.matches("^Fail to get VPSS channel frame %[@GetFrame: line %d+ %- error=A0078009%]$", msg)
    assert.are.equal(0, p.chn[1]:SetDepth(2))
    local frame = assert(p.chn[1]:GetFrame(-1))
    assert.are.same({ W, H, "YUV_SEMIPLANAR_420", { W, W, 0 } },
                    { frame.Width, frame.Height, frame.PixelFormat, frame.Stride })
    assert.are.equal(math.type(frame.Pts), "integer")
    local lent = calls_named("HI_MPI_VPSS_GetChnFrame")[2].args[3].stVFrame
    sim.clear()
    local bytes = frame:GetData()
    assert.are.equal(W * H * 3 // 2, #bytes)
    local maps = calls_named("HI_MPI_SYS_Mmap")
    assert.are.same({ { lent.u32PhyAddr[1], W * H }, { lent.u32PhyAddr[2], W * H // 2 } }, { maps[1].args, maps[2].args })
    assert.are.equal(2, count("HI_MPI_SYS_Munmap"))
  end)

  it("goes back exactly once: Release, a second Release, collection", function()
    assert.are.equal(0, p.chn[1]:SetDepth(2))
    local frame = p.chn[1]:GetFrame(-1)
    local kept = { p.chn[1]:GetFrame(-1) }
    assert.are.equal(H, kept[1].Height)
    sim.clear()
    assert.are.same({ 0, 0 }, { frame:Release(), frame:Release() })
    local ok, msg = frame:GetData()
    assert.is_nil(ok)
    assert.matches("^Frame already released %[@GetData: line %d+%]$", msg)
    assert.are.equal(W, frame.Width)  -- the description stays
    kept[1] = nil
    collectgarbage()
    collectgarbage()
    local released = calls_named("HI_MPI_VPSS_ReleaseChnFrame")
    assert.are.equal(2, #released)
    for _, c in ipairs(released) do assert.are.equal(0, c.ret) end
    assert.are.equal(0, count("HI_MPI_SYS_Mmap"))
  end)

  it("reads nothing when mapping fails, and unmaps what it mapped when unmapping fails", function()
    assert.are.equal(0, p.chn[1]:SetDepth(1))
    local frame = p.chn[1]:GetFrame(-1)
    sim.clear()
    sim.fail("HI_MPI_SYS_Mmap", 0xA0028003)  -- a failed mapping answers no address
    local ok, msg = frame:GetData()
    assert.is_nil(ok)
    assert.matches("^Fail to map frame memory %[@GetData: line %d+%]$", msg)
    assert.are.equal(0, count("HI_MPI_SYS_Munmap"))
    sim.fail("HI_MPI_SYS_Munmap", 0xA0028003)
    ok, msg = frame:GetData()
    assert.matches("^Fail to unmap frame memory .*error=A0028003%]$", msg)
    assert.are.same({ 2, 1 }, { count("HI_MPI_SYS_Mmap"), count("HI_MPI_SYS_Munmap") })
    assert.are.equal(#frame:GetData(), W * H * 3 // 2)  -- still lent, still readable
    assert.are.equal(0, frame:Release())
  end)

  it("comes from capture channels too, given back with their own call", function()
    assert.matches("error=", select(2, p.vi:GetFrame(0)))
    assert.are.equal(0, p.vi:SetFrameDepth(1))
    local frame = assert(p.vi:GetFrame(-1))
    assert.are.same({ W, H }, { frame.Width, frame.Height })
    frame = nil  -- luacheck: ignore 311
    collectgarbage()
    collectgarbage()
    local released = calls_named("HI_MPI_VI_ReleaseFrame")
    assert.are.same({ 1, 0, 0 }, { #released, released[1].args[1], released[1].ret })
  end)

  it("is handed on with SendFrame; a released frame reaches no platform call", function()
    local venc = Tessel.VENC.CreateChannel(1, H264)
    assert.are.equal(0, venc:Start())
    assert.are.equal(0, p.chn[1]:SetDepth(1))
    local frame = p.chn[1]:GetFrame(-1)
    assert.are.equal(0, venc:SendFrame(frame, 0))
    local packs = select(2, venc:GetStream(0)).packs
    assert.are.equal("IDR", packs[#packs].type)
    assert.are.equal(0, frame:Release())
    sim.clear()
    assert.are.equal(s32(0xA0088006), venc:SendFrame(frame))
    assert.are.equal(s32(0xA0078006), p.group:SendFrame(frame, 10))
    assert.are.equal(s32(0xA00F8006), Tessel.VO.GetLayer(0):GetChannel(0):SendFrame(frame))
    for _, name in ipairs({ "HI_MPI_VENC_SendFrame", "HI_MPI_VPSS_SendFrame", "HI_MPI_VO_SendFrame" }) do
      assert.are.equal(0, count(name))
    end
    assert.has_error(function() venc:SendFrame(venc) end,
                     "bad argument #1 to 'SendFrame' (VideoFrame expected, got VENCChannel)")
    assert.has_error(function() venc:SendFrame(nil) end)
  end)
end)

describe("Region overlays", function()
  local osd
  before_each(function()
    support.fresh()
    osd = Tessel.RGN.CreateRegion(0, { type = "OVERLAY", attr = { enPixelFmt = "RGB_1555",
                                                                   stSize = { u32Width = 16, u32Height = 2 } } })
    sim.clear()
  end)

  it("take a bitmap whose string holds exactly its pixels", function()
    assert.is_true(osd:SetBitMap({ enPixelFormat = "rgb_1555", u32Width = 2, u32Height = 1, data = "\0\124\224\3" }))
    local sent = calls_named("HI_MPI_RGN_SetBitMap")[1].args[2]
    assert.are.same({ 8, 2, 1 }, { sent.enPixelFormat, sent.u32Width, sent.u32Height })
    local cases = {
      { { enPixelFormat = "RGB_1555", u32Width = 2, u32Height = 1, data = "abc" },
        "Bitmap data is 3 bytes, 2 x 1 RGB_1555 needs 4" },
      { { enPixelFormat = "RGB_8888", u32Width = 2, u32Height = 2, data = "abcd" },
        "Bitmap data is 4 bytes, 2 x 2 RGB_8888 needs 16" },
      { { enPixelFormat = "YUV_SEMIPLANAR_420", u32Width = 1, u32Height = 1, data = "a" },
        "Cannot draw pixel format YUV_SEMIPLANAR_420" },
      { { u32Width = 1, u32Height = 1, data = "ab" }, "Cannot draw pixel format invalid" },
      { { enPixelFormat = "RGB_1555", u32Width = 1, u32Height = 1, data = 12 }, "Invalid bitmap data" },
      { { enPixelFormat = "RGB_1555", u32Width = -1, u32Height = 1, data = "ab" }, "Invalid bitmap size" },
      { "bitmap", "Invalid bitmap" },
    }
    for _, case in ipairs(cases) do
      local ok, msg = osd:SetBitMap(case[1])
      assert.is_nil(ok)
      assert.are.equal(case[2], msg:match("^(.-) %[@SetBitMap: line %d+%]$"))
    end
    assert.are.equal(1, count("HI_MPI_RGN_SetBitMap"))
    local raising = setmetatable({}, { __index = function() error("no such key") end })
    assert.has_error(function() osd:SetBitMap(raising) end)
    assert.are.equal(1, count("HI_MPI_RGN_SetBitMap"))
  end)

  it("lend a canvas that SetCanvas fills row by row and shows", function()
    local canvas = osd:GetCanvasInfo()
    assert.are.same({ { u32Width = 16, u32Height = 2 }, 32, "RGB_1555" },
                    { canvas.stSize, canvas.u32Stride, canvas.enPixelFmt })
    assert.are.equal(0, osd:UpdateCanvas())
    sim.clear()
    assert.is_true(osd:SetCanvas(string.rep("\255\127", 32)))
    local names = {}
    for _, c in ipairs(sim.calls()) do names[#names + 1] = c.name end
    assert.are.same({ "HI_MPI_RGN_GetCanvasInfo", "HI_MPI_SYS_Mmap", "HI_MPI_SYS_Munmap", "HI_MPI_RGN_UpdateCanvas" },
                    names)
    assert.are.same({ canvas.u32PhyAddr, 64 }, calls_named("HI_MPI_SYS_Mmap")[1].args)
    sim.clear()
    local ok, msg = osd:SetCanvas("short")
    assert.is_nil(ok)
    assert.matches("^Canvas data is 5 bytes, 16 x 2 RGB_1555 needs 64 %[", msg)
    assert.are.same({ 0, 0 }, { count("HI_MPI_SYS_Mmap"), count("HI_MPI_RGN_UpdateCanvas") })
    sim.fail("HI_MPI_SYS_Mmap", 0xA0028003)
    assert.matches("^Fail to map region canvas", select(2, osd:SetCanvas(string.rep("\0", 64))))
    assert.are.equal(0, count("HI_MPI_RGN_UpdateCanvas"))
  end)
end)

describe("SYS.Poll", function()
  local p, busy, idle
  before_each(function()
    p = camera()
    busy = encoder(p, 0)
    idle = Tessel.VENC.CreateChannel(1, H264)
  end)

  it("waits for the objects that have data and answers them in the order given", function()
    local fd = busy:GetFd()
    local proxy = { GetFd = function() return fd end }
    local ready = Tessel.SYS.Poll({ idle, 42, "text", {}, Tessel.VENC.GetChannel(9), busy, proxy }, -1)
    assert.are.equal(2, #ready)
    assert.are.equal(busy, ready[1])
    assert.are.equal(proxy, ready[2])
    assert.is_string(busy:GetStream(0))
  end)

  it("answers an empty table when the time runs out, and nothing when no object has a descriptor", function()
    local before = sim.now()
    assert.are.same({}, Tessel.SYS.Poll({ idle }, 150))
    assert.are.near(0.15, sim.now() - before, 1e-6)
    local none, msg = Tessel.SYS.Poll({ 1, Tessel.VENC.GetChannel(9), { GetFd = function() return -1 end } }, -1)
    assert.is_nil(none)
    assert.matches("^No object to poll %[@Poll: line %d+%]$", msg)
  end)

  it("raises for wrong argument types and for a GetFd that raises", function()
    assert.has_error(function() Tessel.SYS.Poll(busy, 0) end)
    assert.has_error(function() Tessel.SYS.Poll({ busy }, 0.5) end)
    assert.has_error(function() Tessel.SYS.Poll({ busy }) end)
    assert.has_error(function() Tessel.SYS.Poll({ { GetFd = function() error("closed") end } }, 0) end)
    local raising = setmetatable({}, { __index = function() error("no such key") end })
    assert.has_error(function() Tessel.SYS.Poll({ raising }, 0) end)
  end)
end)
