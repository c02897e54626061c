-- The audio data path: frames taken and handed on as strings, encoded and
-- decoded streams, each frame and stream given back exactly once whatever
-- fails or raises, and what the simulator makes of the sound (the codec's
-- mutes, the output volume, sources, starved and overrun outputs).
require "tessel"
local sim = require "tessel.sim"
local support = require "tests.lua.support"

local calls_named = support.calls_named
local function count(name) return #calls_named(name) end
local function succeeded(name)
  local n = 0
  for _, c in ipairs(calls_named(name)) do if c.ret == 0 then n = n + 1 end end
  return n
end

local function attrs(mode)
  return { enSamplerate = 8000, enBitwidth = 16, enWorkmode = "I2S_MASTER", enSoundmode = mode or "MONO",
           u32FrmNum = 10, u32PtNumPerFrm = 320, u32ChnCnt = 2 }
end

-- Input and output device 0 with channel 0 enabled, in virtual time.
local function audio(mode)
  support.fresh()
  sim.clock("virtual")
  local p = { aid = Tessel.AI.GetDevice(0), aod = Tessel.AO.GetDevice(0) }
  assert(p.aid:SetPubAttr(attrs(mode)) and p.aid:Enable() == 0)
  assert(p.aod:SetPubAttr(attrs(mode)) and p.aod:Enable() == 0)
  p.ai, p.ao = p.aid:GetChannel(0), p.aod:GetChannel(0)
  assert(p.ai:Enable() == 0 and p.ao:Enable() == 0)
  assert(p.ai:SetParam{ u32UsrFrmDepth = 4 })
  sim.clear()
  return p
end

local function samples(pcm)
  local t = {}
  for i = 1, #pcm, 2 do t[#t + 1] = string.unpack("<i2", pcm, i) end
  return t
end

local function peak(pcm)
  local m = 0
  for _, v in ipairs(samples(pcm)) do m = math.max(m, math.abs(v)) end
  return m
end

local function dbfs(v) return 20 * math.log(v / 32767, 10) end

-- Plays frames from the input for the given seconds while recording the
-- output; answers the recording's bytes after its header.
local function playRecorded(p, seconds, path)
  sim.record({ "AO", 0, 0 }, path)
  for _ = 1, seconds * 25 do assert(p.ao:SendFrame(p.ai:GetFrame())) end
  for _ = 1, 3 do p.ai:GetFrame() end  -- the output plays what it holds
  sim.record({ "AO", 0, 0 }, nil)
  local f = assert(io.open(path, "rb"))
  local data = f:read("a"):sub(45)
  f:close()
  os.remove(path)
  return data
end

teardown(function() sim.clock("real") end)

describe("AIChannel:GetFrame and AOChannel:SendFrame", function()
  it("give a frame of the device's size with its description, and take it back", function()
    local p = audio()
    local pcm, info = p.ai:GetFrame(-1)
    assert.are.equal(640, #pcm)
    assert.are.same({ seq = 0, bitWidth = 16, soundMode = "MONO", samples = 320 },
                    { seq = info.seq, bitWidth = info.bitWidth, soundMode = info.soundMode, samples = info.samples })
    assert.is_true(math.abs(dbfs(peak(pcm)) + 12) < 0.1)  -- the default tone at -12 dBFS
    assert.is_true(p.ao:SendFrame(pcm, info, 0))
    assert.is_true(p.ao:SendFrame(pcm))
    local second = select(2, p.ai:GetFrame())
    assert.are.equal(1, second.seq)
    assert.are.equal(40000, second.pts - info.pts)  -- 320 samples at 8 kHz
    assert.are.equal(count("HI_MPI_AI_GetFrame"), count("HI_MPI_AI_ReleaseFrame"))
  end)

  it("interleave stereo frames both ways", function()
    local p = audio("STEREO")
    local pcm, info = p.ai:GetFrame()
    assert.are.equal(1280, #pcm)
    assert.are.equal("STEREO", info.soundMode)
    local s = samples(pcm)
    for i = 1, #s, 2 do assert.are.equal(s[i], s[i + 1]) end
    local frame = calls_named("HI_MPI_AI_GetFrame")[1].args[3]
    assert.are.equal(640, frame.u32Len)
    assert.is_true(p.ao:SendFrame(pcm, info))
    local sent = calls_named("HI_MPI_AO_SendFrame")[1].args[3]
    assert.are.same({ 640, 1 }, { sent.u32Len, sent.enSoundmode })
  end)

  it("fail with the platform's code or the data's fault, and raise only for wrong types", function()
    local p = audio()
    assert.matches("^Fail to get AI frame .*error=A015800E%]$", select(2, p.ai:GetFrame(0)))
    assert.matches("error=A0158005%]$", select(2, p.aid:GetChannel(1):GetFrame(0)))  -- not enabled
    sim.fail("HI_MPI_AI_ReleaseFrame", 0xA0158003)
    assert.matches("^Fail to release AI frame .*error=A0158003%]$", select(2, p.ai:GetFrame()))
    assert.are.equal(succeeded("HI_MPI_AI_GetFrame"), count("HI_MPI_AI_ReleaseFrame"))  -- one per frame got
    assert.matches("^Invalid PCM data", select(2, p.ao:SendFrame("abc")))
    assert.matches("^Invalid PCM data", select(2, p.ao:SendFrame("abcdef", { soundMode = "STEREO" })))
    assert.matches("^Invalid audio sound mode", select(2, p.ao:SendFrame("abcd", { soundMode = true })))
    assert.are.equal(0, count("HI_MPI_AO_SendFrame"))
    assert.is_false(pcall(p.ao.SendFrame, p.ao, 42))
    assert.is_false(pcall(p.ai.GetFrame, p.ai, "soon"))
  end)
end)

describe("AENC and ADEC", function()
  local p, aenc, adec
  before_each(function()
    p = audio()
    aenc = Tessel.AENC.CreateChannel(1, { enType = "G711U", u32PtNumPerFrm = 320, u32BufSize = 4 })
    adec = Tessel.ADEC.CreateChannel(2, { enType = "G711U", u32BufSize = 4 })
    sim.clear()
  end)

  it("refuse what the platform refuses, with the reason", function()
    local ok, msg = Tessel.AENC.GetChannel(3):Create{ enType = "AAC", u32PtNumPerFrm = 320, u32BufSize = 4 }
    assert.is_nil(ok)
    assert.matches("error=A0178008%]$", msg)
    assert.matches("not built in", support.last_call("HI_MPI_AENC_CreateChn").reason)
    assert.matches("error=A0178003%]$", select(2, Tessel.AENC.GetChannel(3):Create{ enType = "G711A",
                                                                                  u32PtNumPerFrm = 40, u32BufSize = 4 }))
    assert.matches("^Invalid G726 bit rate", select(2, Tessel.ADEC.GetChannel(3):Create{
      enType = "G726", u32BufSize = 4, pValue = { enG726bps = "G726_64K" } }))
    assert.is_nil(Tessel.AENC.GetChannel(49))
    assert.are.equal(49, Tessel.AENC.MaxChannels)
    assert.are.equal(32, Tessel.ADEC.MaxChannels)
  end)

  it("encode a bound input's frames and decode them back, each stream and frame given back once", function()
    assert(Tessel.SYS.Bind(p.ai, aenc))
    for _ = 1, 3 do
      local data, info = aenc:GetStream(-1)
      assert.are.equal(4 + 320, #data)
      assert.are.same({ "pts", "seq" }, (function() local k = {} for n in pairs(info) do k[#k + 1] = n end
                                           table.sort(k) return k end)())
      assert.is_true(adec:SendStream(data))
      local pcm, frame = adec:GetFrame(false)
      assert.are.equal(640, #pcm)
      assert.are.equal(320, frame.samples)
      assert.is_true(math.abs(dbfs(peak(pcm)) + 12) < 0.5)
    end
    assert.are.equal(3, count("HI_MPI_AENC_ReleaseStream"))
    assert.are.equal(3, count("HI_MPI_ADEC_ReleaseFrame"))
    for _, name in ipairs({ "HI_MPI_AENC_ReleaseStream", "HI_MPI_ADEC_ReleaseFrame" }) do
      for _, c in ipairs(calls_named(name)) do assert.are.equal(0, c.ret) end
    end
    assert(Tessel.SYS.UnBind(p.ai, aenc))
  end)

  it("play decoded frames through a bound output as it makes room", function()
    local ao1 = p.aod:GetChannel(1)
    assert.are.equal(0, ao1:Enable())
    assert(Tessel.SYS.Bind(adec, ao1))
    local frame = "\0\1\160\0" .. string.rep("\255", 320)
    for _ = 1, 20 do assert.is_true(adec:SendStream(frame, true)) end  -- five times its buffer
    assert.is_true(sim.now() > 0.2)  -- 14 frames wait in the two buffers; the rest waited for room
    assert(Tessel.SYS.UnBind(adec, ao1))
  end)

  it("give the stream back once when building the result raises", function()
    assert.is_true(aenc:SendFrame(p.ai:GetFrame()))
    local getStream, armed = aenc.GetStream, false
    debug.sethook(function()
      local f = debug.getinfo(2, "f").func
      if f == getStream then
        armed = true
      elseif armed then
        armed = false
        error("interrupted")
      end
    end, "c")
    local ok, err = pcall(getStream, aenc, -1)
    debug.sethook()
    assert.is_false(ok)
    assert.matches("interrupted", err)
    assert.are.equal(1, count("HI_MPI_AENC_ReleaseStream"))
    assert.are.equal(0, support.last_call("HI_MPI_AENC_ReleaseStream").ret)
  end)

  it("report failures of the platform without holding anything", function()
    assert.matches("^Fail to get AENC stream .*error=A017800E%]$", select(2, aenc:GetStream(0)))
    assert.matches("^Fail to get ADEC frame .*error=A018800E%]$", select(2, adec:GetFrame(false)))
    assert.is_true(aenc:SendFrame(p.ai:GetFrame()))
    sim.fail("HI_MPI_AENC_ReleaseStream", 0xA0178003)
    assert.matches("^Fail to release AENC stream .*A0178003%]$", select(2, aenc:GetStream(0)))
    assert.is_true(adec:SendStream(string.rep("\255", 320)))  -- a frame without header
    sim.fail("HI_MPI_ADEC_ReleaseFrame", 0xA0188003)
    assert.matches("^Fail to release ADEC frame .*A0188003%]$", select(2, adec:GetFrame()))
    assert.are.equal(succeeded("HI_MPI_AENC_GetStream"), count("HI_MPI_AENC_ReleaseStream"))
    assert.are.equal(succeeded("HI_MPI_ADEC_GetFrame"), count("HI_MPI_ADEC_ReleaseFrame"))
    assert.matches("^Invalid stream data", select(2, adec:SendStream("")))
    assert.is_false(pcall(adec.SendStream, adec, {}))
    assert.are.equal(0, adec:ClearChnBuf())
    assert.are.equal(0, adec:SendEndOfStream(true))
  end)

  it("lose frames a full buffer has no room for, and say so", function()
    for _ = 1, 6 do assert.is_true(aenc:SendFrame(p.ai:GetFrame())) end
    assert.matches("buffer of 4 frames is full", sim.check()[1].message)
    assert.are.equal("aenc-buffer-overflow", sim.check()[1].rule)
    assert.matches("error=A018800F%]$", select(2, (function()
      for _ = 1, 4 do adec:SendStream(string.rep("\255", 320), false) end
      return adec:SendStream(string.rep("\255", 320), false)
    end)()))
  end)
end)

describe("the simulated sound", function()
  it("goes silent under the codec's microphone and DAC mutes", function()
    local p = audio()
    local codec = Tessel.ACODEC.CreateInnerCodec()
    assert(codec:Open() >= 0)
    assert.is_true(codec:SetMICMute(true, true))
    assert.are.equal(0, peak((p.ai:GetFrame())))
    assert.is_true(codec:SetMICMute(false, false))
    p.ai:GetFrame()  -- the frame captured while muted
    assert.is_true(peak((p.ai:GetFrame())) > 0)
    assert.is_true(codec:SetDACMute(true, true))
    assert.are.equal(0, peak(playRecorded(p, 1, os.tmpname())))
    codec:Close()
  end)

  it("follows the output volume, the source's tone and level", function()
    local p = audio()
    sim.source({ "AI", 0, 0 }, { frequency = 440, level = -6 })
    assert.are.equal(0, p.aod:SetVolume(-6))
    local played = playRecorded(p, 1, os.tmpname())
    assert.is_true(math.abs(dbfs(peak(played)) + 12) < 0.2)
    -- 440 Hz: 880 zero crossings a second
    local s, crossings = samples(played), 0
    for i = 2, #s do if (s[i - 1] < 0) ~= (s[i] < 0) then crossings = crossings + 1 end end
    assert.is_true(math.abs(crossings * 8000 / #s - 880) < 20)
    assert.has_error(function() sim.source({ "AI", 0, 0 }, "/nonexistent.wav") end)
    assert.has_error(function() sim.source({ "VENC", 0, 0 }, nil) end)
  end)

  it("finds outputs starved, overrun, and frames of the wrong size", function()
    local p = audio()
    local pcm = p.ai:GetFrame()
    assert.is_true(p.ao:SendFrame(pcm))
    for _ = 1, 5 do p.ai:GetFrame() end  -- 200 ms without a frame
    assert.is_true(p.ao:SendFrame(pcm))
    assert.are.equal("ao-starved", sim.check()[1].rule)
    local ok, msg
    for _ = 1, 12 do ok, msg = p.ao:SendFrame(pcm, 0) end
    assert.is_nil(ok)
    assert.matches("error=A016800F%]$", msg)
    assert.is_true(p.ao:ClearBuf() == 0 and p.ao:SendFrame(pcm:sub(1, 320)))
    local rules = {}
    for _, f in ipairs(sim.check()) do rules[#rules + 1] = f.rule end
    assert.are.same({ "ao-starved", "ao-overrun", "frame-size-mismatch" }, rules)
  end)
end)
