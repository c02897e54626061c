-- Intercom: sound from the microphone to the speaker, to a file and back.
--
-- Shows the audio data path of tessel:
--   1. the microphone (input device 0) through the inner codec, with voice
--      enhancement, looped to the speaker (output device 0) by a binding;
--   2. five seconds taken with AIChannel:GetFrame and written as a WAV file;
--   3. the same five seconds encoded as G.711 A-law (AENC) into a file, then
--      decoded back (ADEC) and played by the speaker through a binding.
-- Against the simulator the microphone hears a 1 kHz tone at -12 dBFS, the
-- clock is virtual (the five seconds take a fraction of one) and what the
-- speaker plays is recorded with sim.record.
--
-- Run from the source root after building:
--   LUA_CPATH='build/lua/?.so;;' lua5.3 examples/intercom.lua [output directory]
-- It writes loop.wav, capture.wav, intercom.g711 and decoded.wav into the
-- directory (default /tmp).
require "tessel"
local has_sim, sim = pcall(require, "tessel.sim")

local out = arg and arg[1] or "/tmp"
local RATE, FRAME, SECONDS = 8000, 320, 5

local function check(ok, msg) if not ok then error(msg or "failed", 2) end return ok end
local function zero(status, what) if status ~= 0 then error(string.format("%s: %08X", what, status & 0xFFFFFFFF), 2) end end

-- Lets simulated (or real) time pass: a poll on a descriptor that stays
-- quiet (an encoder nobody feeds meanwhile).
local quiet
local function wait(ms) Tessel.SYS.Poll({ quiet }, ms) end

-- A 16-bit mono WAV file written frame by frame; its sizes go in at the end.
local function wav_writer(path)
  local f = assert(io.open(path, "wb"))
  local bytes = 0
  local function header()
    f:seek("set", 0)
    f:write("RIFF", string.pack("<I4", 36 + bytes), "WAVEfmt ",
            string.pack("<I4I2I2I4I4I2I2", 16, 1, 1, RATE, RATE * 2, 2, 16), "data", string.pack("<I4", bytes))
    f:seek("end")
  end
  header()
  return {
    write = function(pcm) f:write(pcm); bytes = bytes + #pcm end,
    close = function() header(); f:close() end,
  }
end

if has_sim then
  sim.reset()
  sim.clock("virtual")
end
zero(Tessel.VB.Config(8, { { u32BlkSize = 4096, u32BlkCnt = 4 } }), "VB.Config")
zero(Tessel.VB.Init(), "VB.Init")
zero(Tessel.SYS.Init(), "SYS.Init")

-- The inner codec at the devices' rate and width.
local codec = Tessel.ACODEC.CreateInnerCodec()
check(codec:Open() >= 0, "cannot open the audio codec")
zero(codec:SetSampleRate(RATE), "codec rate")
zero(codec:SetDataWidth(16), "codec width")
zero(codec:SetInputVolume(0), "codec input volume")
zero(codec:SetOutputVolume(0), "codec output volume")

local attrs = { enSamplerate = RATE, enBitwidth = 16, enWorkmode = "I2S_MASTER", enSoundmode = "MONO",
                u32FrmNum = 30, u32PtNumPerFrm = FRAME, u32ChnCnt = 2 }
local mic_dev, speaker_dev = Tessel.AI.GetDevice(0), Tessel.AO.GetDevice(0)
check(mic_dev:SetPubAttr(attrs))
zero(mic_dev:Enable(), "AI device")
check(speaker_dev:SetPubAttr(attrs))
zero(speaker_dev:Enable(), "AO device")
local mic, speaker = mic_dev:GetChannel(0), speaker_dev:GetChannel(0)
zero(mic:Enable(), "AI channel")
zero(speaker:Enable(), "AO channel")
check(mic:SetParam{ u32UsrFrmDepth = 8 })

local encoder = Tessel.AENC.CreateChannel(0, { enType = "G711A", u32PtNumPerFrm = FRAME, u32BufSize = 30 })
quiet = encoder

-- 1. The microphone looped to the speaker, with voice enhancement.
check(mic:SetVqeAttr{ bHpfOpen = 1, bAnrOpen = 1, s32WorkSampleRate = RATE, s32FrameSample = FRAME,
                      enWorkstate = "COMMON", stHpfCfg = { bUsrMode = true, enHpfFreq = 150 } })
check(mic:EnableVqe() == true, "voice enhancement")
if has_sim then sim.record({ "AO", 0, 0 }, out .. "/loop.wav") end
check(Tessel.SYS.Bind(mic, speaker))
wait(2000)
check(Tessel.SYS.UnBind(mic, speaker))
wait(200)  -- the speaker plays what it still holds
if has_sim then sim.record({ "AO", 0, 0 }, nil) end

-- 2. and 3. Five seconds through GetFrame into a WAV file, and encoded.
local wav = wav_writer(out .. "/capture.wav")
local g711 = assert(io.open(out .. "/intercom.g711", "wb"))
for _ = 1, SECONDS * RATE // FRAME do
  local pcm, info = check(mic:GetFrame(1000))
  wav.write(pcm)
  check(encoder:SendFrame(pcm, info))
  g711:write((check(encoder:GetStream(1000))))
end
wav.close()
g711:close()

-- The file decoded back and played, frame by frame as it was written (each
-- frame begins with its 4-byte voice frame header, the length in words).
local decoder = Tessel.ADEC.CreateChannel(0, { enType = "G711A", u32BufSize = 30, enMode = "PACK" })
if has_sim then sim.record({ "AO", 0, 0 }, out .. "/decoded.wav") end
check(Tessel.SYS.Bind(decoder, speaker))
local stream = assert(io.open(out .. "/intercom.g711", "rb")):read("a")
local at = 1
while at <= #stream do
  local words = string.unpack("<I2", stream, at + 2)
  local frame = stream:sub(at, at + 3 + 2 * words)
  check(decoder:SendStream(frame, true))
  at = at + #frame
end
zero(decoder:SendEndOfStream(false), "end of stream")
wait(3000)  -- the speaker plays out what the decoder and its own buffer hold
if has_sim then sim.record({ "AO", 0, 0 }, nil) end

check(Tessel.SYS.UnBind(decoder, speaker))
zero(decoder:Destroy(), "ADEC destroy")
zero(encoder:Destroy(), "AENC destroy")
check(mic:DisableVqe() == true)
zero(mic:Disable(), "AI channel")
zero(speaker:Disable(), "AO channel")
zero(mic_dev:Disable(), "AI device")
zero(speaker_dev:Disable(), "AO device")
codec:Close()
zero(Tessel.SYS.Exit(), "SYS.Exit")
zero(Tessel.VB.Exit(), "VB.Exit")
if has_sim then
  for _, f in ipairs(sim.check()) do print("finding: " .. f.rule .. ": " .. f.message) end
  sim.clock("real")
end
print("wrote " .. out .. "/loop.wav, capture.wav, intercom.g711 and decoded.wav")
