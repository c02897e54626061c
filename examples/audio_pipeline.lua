-- The audio part of the demo: the microphone input played back on the
-- output (input channel 0 bound to output channel 0), 8 kHz mono, with echo
-- reference, high-pass filter and gain control on the input; the inner codec
-- set to the same rate and width, listening to the microphone.
--
-- Returns two stages for examples/demo.lua, to run once the system is up:
--   build      configure and enable both devices and their channels, bind
--   tear_down  unbind, then disable channels and devices
require "tessel"
local AI, AO, SYS, ACODEC = Tessel.AI, Tessel.AO, Tessel.SYS, Tessel.ACODEC
local stage = require "stage"
local say, check = stage.say, stage.check

local audio = {}

audio.attrs = { enSamplerate = 8000, enBitwidth = 16, enWorkmode = "I2S_MASTER", enSoundmode = "MONO",
                u32EXFlag = 0, u32FrmNum = 30, u32PtNumPerFrm = 320, u32ChnCnt = 2, u32ClkSel = 0 }
audio.vqe = { bHpfOpen = 1, bAgcOpen = 1, s32WorkSampleRate = 8000, s32FrameSample = 320, enWorkstate = "COMMON",
              stHpfCfg = { bUsrMode = true, enHpfFreq = 150 },
              stAgcCfg = { bUsrMode = false } }

function audio.build()
  say("Audio codec")
  audio.codec = ACODEC.CreateInnerCodec()
  check("ACODEC: Open", audio.codec:Open() >= 0 and 0 or -1)
  check("ACODEC: SetSampleRate 8000", audio.codec:SetSampleRate(audio.attrs.enSamplerate))
  check("ACODEC: SetDataWidth 16", audio.codec:SetDataWidth(audio.attrs.enBitwidth))
  check("ACODEC: SelectSource MIC", audio.codec:SelectSource("MIC"))
  check("ACODEC: SetInputVolume 30", audio.codec:SetInputVolume(30))
  check("ACODEC: SetOutputVolume -6", audio.codec:SetOutputVolume(-6))
  check("ACODEC: SetMICGain 16/16", audio.codec:SetMICGain(16, 16))
  say("    input volume %d, output volume %d", audio.codec:GetInputVolume(), audio.codec:GetOutputVolume())

  say("Audio")
  audio.input, audio.output = AI.GetDevice(0), AO.GetDevice(0)
  for _, d in ipairs({ { "AI", audio.input }, { "AO", audio.output } }) do
    check(d[1] .. " device 0: SetPubAttr 8 kHz mono", d[2]:SetPubAttr(audio.attrs))
    check(d[1] .. " device 0: Enable", d[2]:Enable())
  end
  audio.mic, audio.speaker = audio.input:GetChannel(0), audio.output:GetChannel(0)
  check("AI channel 0: Enable", audio.mic:Enable())
  check("AI channel 0: SetVqeAttr", audio.mic:SetVqeAttr(audio.vqe))
  check("AI channel 0: EnableVqe", audio.mic:EnableVqe())
  check("AO channel 0: Enable", audio.speaker:Enable())
  check("AO device 0: SetVolume -6 dB", audio.output:SetVolume(-6))
  check("AO device 0: SetMute, fading", audio.output:SetMute(true, { ["in"] = 2, out = 2 }))
  check("AO device 0: SetMute off", audio.output:SetMute(false))
  check("bind AI 0/0 -> AO 0/0", SYS.Bind(audio.mic, audio.speaker))
end

function audio.tear_down()
  say("Audio tear-down")
  check("unbind AI 0/0 -> AO 0/0", SYS.UnBind(audio.mic, audio.speaker))
  check("AI channel 0: DisableVqe", audio.mic:DisableVqe())
  check("AI channel 0: Disable", audio.mic:Disable())
  check("AO channel 0: Disable", audio.speaker:Disable())
  check("AI device 0: Disable", audio.input:Disable())
  check("AO device 0: Disable", audio.output:Disable())
  audio.codec:Close()
  say("  %-44s done", "ACODEC: Close")
end

return audio
