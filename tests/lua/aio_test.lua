-- Audio input and output: devices and the channels their attributes enable,
-- the attribute table with its lenient and strict enumerations, the VQE
-- table with its blank-prefixed output keys, the result forms, and the
-- simulated audio devices.
require "tessel"
local sim = require "tessel.sim"
local support = require "tests.lua.support"
local AI, AO = Tessel.AI, Tessel.AO

local last_call, fresh, s32 = support.last_call, support.fresh, support.s32

local function attrs(changes)
  local t = { enSamplerate = 8000, enBitwidth = 16, enWorkmode = "I2S_MASTER", enSoundmode = "MONO", u32FrmNum = 30,
              u32PtNumPerFrm = 320, u32ChnCnt = 2 }
  for k, v in pairs(changes or {}) do t[k] = v end
  return t
end

local VQE = { bHpfOpen = 1, bAgcOpen = 1, s32WorkSampleRate = 8000, s32FrameSample = 320, enWorkstate = "music",
              stHpfCfg = { bUsrMode = true, enHpfFreq = 120 }, stAgcCfg = { bUsrMode = 1, s8TargetLevel = -3,
                                                                         s8MaxGain = 12, s32Reserved = 7 } }

-- An enabled device of module M with attributes t, and its channel 0 enabled.
local function running(M, t)
  local dev = M.GetDevice(0)
  assert(dev:SetPubAttr(t or attrs()) == true and dev:Enable() == 0)
  local chn = dev:GetChannel(0)
  assert(chn:Enable() == 0)
  return dev, chn
end

describe("audio devices and channels", function()
  before_each(fresh)

  it("hand out devices in [0,2) and channels below the count the attributes enable", function()
    local out, err = support.run([[
      require "tessel"
      print(Tessel.AI.GetDevice(2), Tessel.AO.GetDevice(-1), Tessel.AI.MaxDevices, Tessel.AO.GetDevice(1).MaxChannels)
      local input, output = Tessel.AI.GetDevice(0), Tessel.AO.GetDevice(0)
      print(input:GetChannel(0).ID, output:GetChannel(0))
    ]])
    assert.are.equal("nil\tnil\t2\t16\n0\tnil\n", out)
    local d = support.diagnostics(err)
    assert.are.same({ "Invalid AI device ID, valid number is [0,2)", "Invalid AO device ID, valid number is [0,2)" },
                    { d[1].message, d[2].message })
    assert.are.same({ reporter = "GetChannel", message = "WARNING! Invalid audio channel ID for device (ID=0), valid "
                      .. "channel ID is [0,0). You can get the channel but may it will not work correctly!" }, d[3])
    assert.are.same({ reporter = "GetChannel",
                      message = "Invalid audio channel ID for device (ID=0), valid channel ID is [0,0)" }, d[4])
    local dev = AI.GetDevice(1)
    assert.is_true(dev:SetPubAttr(attrs({ enSoundmode = "STEREO", u32ChnCnt = 2 })))
    assert.are.equal(1, dev.MaxEnabledChannels)
    assert.are.same({ 21, 1, 0 }, { dev:GetChannel(0).MODID, dev:GetChannel(0).DID, dev:GetChannel(0).ID })
    local output = AO.GetDevice(1)
    assert.is_true(output:SetPubAttr(attrs({ u32ChnCnt = 4 })))
    assert.are.equal(22, output:GetChannel(3).MODID)
  end)

  it("keep the enabled-channel count per object, written only by accepted attributes", function()
    local output = AO.GetDevice(0)
    assert.is_true(output:SetPubAttr(attrs({ u32ChnCnt = 4 })))
    local again = AO.GetDevice(0)  -- the same device, another object
    assert.are.same({ 4, 0 }, { output.MaxEnabledChannels, again.MaxEnabledChannels })
    assert.is_nil(again:GetChannel(0))
    sim.fail("HI_MPI_AO_SetPubAttr", 1)
    local ok, msg = output:SetPubAttr(attrs({ u32ChnCnt = 8 }))
    assert.matches("^Set device pub attributes fail %[@SetPubAttr: line %d+ %- error=00000001%]$", msg)
    assert.is_nil(output:SetPubAttr(attrs({ enSamplerate = 1 })))
    assert.are.equal(4, output.MaxEnabledChannels)
    assert.are.equal(0, #support.calls_named("HI_MPI_AO_GetPubAttr"))  -- counted without asking the platform
  end)
end)

describe("audio attribute tables", function()
  local dev
  before_each(function()
    fresh()
    dev = AI.GetDevice(0)
  end)

  local function sent(changes)
    dev:SetPubAttr(attrs(changes))
    return last_call("HI_MPI_AI_SetPubAttr").args[2]
  end

  it("take bit widths by value and unknown sound modes as the end marker, without error", function()
    assert.are.same({ 1, 3, 2, 0 }, { sent({ enBitwidth = 16 }).enBitwidth, sent({ enBitwidth = 20 }).enBitwidth,
                                      sent({ enBitwidth = 2 }).enBitwidth, sent({ enBitwidth = 8 }).enBitwidth })
    assert.are.equal(2, sent({ enSoundmode = "QUAD" }).enSoundmode)
    local a = sent({ enWorkmode = "pcm_slave_std", u32ChnCnt = 8, u32ClkSel = 1 })
    assert.are.same({ 2, 8, 1, 0 }, { a.enWorkmode, a.u32ChnCnt, a.u32ClkSel, a.u32EXFlag })
  end)

  it("refuse the values the strict enumerations do not know, before the platform is called", function()
    sim.clear()
    for _, case in ipairs({
      { { enBitwidth = "16" }, "Invalid audio bitwidth" },
      { { enWorkmode = "PCM_SLAVE" }, "Invalid audio IO mode" },  -- second spellings are not accepted
      { { enSamplerate = 22000 }, "Invalid audio sample rate" },
      { { enSoundmode = true }, "Invalid audio sound mode" },
    }) do
      local ok, msg = dev:SetPubAttr(attrs(case[1]))
      assert.is_nil(ok)
      assert.are.equal(case[2] .. " [@SetPubAttr: line", msg:match("^(.- %[@SetPubAttr: line)"))
    end
    local t = attrs()
    t.enSamplerate = nil
    local ok, msg = dev:SetPubAttr(t)
    assert.matches("^Invalid audio sample rate", msg)
    ok, msg = dev:SetPubAttr(5)
    assert.matches("^Invalid attrs %[@SetPubAttr: line %d+%]$", msg)
    assert.are.equal(0, #sim.calls())
  end)

  it("name every I/O mode, track mode and VQE work state both ways", function()
    for value, name in ipairs({ "I2S_MASTER", "I2S_SLAVE", "PCM_SLAVE_STD", "PCM_SLAVE_NSTD", "PCM_MASTER_STD",
                                "PCM_MASTER_NSTD" }) do
      assert.are.equal(value - 1, sent({ enWorkmode = name:lower() }).enWorkmode)
      assert.are.equal(name, dev:GetPubAttr().enWorkmode)
    end
    assert.are.equal(0, sent({ enWorkmode = 0 }).enWorkmode)  -- a number is the platform's value
    assert.is_true(dev:Enable() == 0)
    for value, name in ipairs({ "NORMAL", "BOTH_LEFT", "BOTH_RIGHT", "EXCHANGE", "MIX", "LEFT_MUTE", "RIGHT_MUTE",
                                "BOTH_MUTE" }) do
      assert.is_true(dev:SetTrackMode(name))
      assert.are.equal(value - 1, last_call("HI_MPI_AI_SetTrackMode").args[2])
      assert.are.equal(name, dev:GetTrackMode())
    end
    local ok, msg = dev:SetTrackMode("MUTE")  -- second spellings are listed, not accepted
    assert.matches("^Invalid audio track mode %[@SetTrackMode: line %d+%]$", msg)
    local chn = dev:GetChannel(0)
    assert.are.equal(0, chn:Enable())
    for value, name in ipairs({ "COMMON", "MUSIC", "NOISY" }) do
      assert.is_true(chn:SetVqeAttr({ s32WorkSampleRate = 8000, s32FrameSample = 160, enWorkstate = name }))
      assert.are.equal(value - 1, last_call("HI_MPI_AI_SetVqeAttr").args[5].enWorkstate)
      assert.are.equal(value - 1, chn:GetVqeAttr().enWorkstate)
    end
  end)

  it("read back names and numbers, and answer a failed read with its message alone", function()
    assert.is_true(dev:SetPubAttr(attrs({ enSoundmode = "stereo" })))
    local back = dev:GetPubAttr()
    assert.are.same({ 8000, 16, "I2S_MASTER", "STEREO", 2, 0 }, { back.enSamplerate, back.enBitwidth, back.enWorkmode,
                                                                  back.enSoundmode, back.u32ChnCnt, back.u32ClkChnCnt })
    local results = { AI.GetDevice(1):GetPubAttr() }
    assert.are.equal(1, #results)
    assert.matches("^Get AI device attributes fail %[@GetPubAttr: line %d+ %- error=A0158007%]$", results[1])
    results = { AO.GetDevice(1):GetPubAttr() }
    assert.matches("^Get AO device attributes fail", results[1])
  end)
end)

describe("audio input channels", function()
  local dev, chn
  before_each(function()
    fresh()
    dev, chn = running(AI)
    sim.clear()
  end)

  it("convert the VQE table, with blank-prefixed keys on the way out", function()
    assert.is_true(chn:SetVqeAttr(VQE))
    local call = last_call("HI_MPI_AI_SetVqeAttr")
    assert.are.same({ 0, 0, 0, 0 }, { call.args[1], call.args[2], call.args[3], call.args[4] })
    local cfg = call.args[5]
    assert.are.same({ 1, 120, 1, -3, 12, 7, 0 }, { cfg.enWorkstate, cfg.stHpfCfg.enHpfFreq, cfg.stAgcCfg.bUsrMode,
                                                  cfg.stAgcCfg.s8TargetLevel, cfg.stAgcCfg.s8MaxGain,
                                                  cfg.stAgcCfg.s32Reserved, cfg.bAecOpen })
    local back = chn:GetVqeAttr()
    assert.are.same({ 1, 1, 120, -3, nil }, { back.enWorkstate, back.stHpfCfg[" bUsrMode"], back.stHpfCfg[" enHpfFreq"],
                                              back.stAgcCfg[" s8TargetLevel"], back.stAgcCfg.s8TargetLevel })
    for _, case in ipairs({
      { { enWorkstate = "quiet" }, "Invalid audio vqe workstate mode" },
      { { enWorkstate = "COMMON", stHpfCfg = { bUsrMode = "on" } }, "Invalid audio vqe workstate mode" },
      { { enWorkstate = "COMMON", stAgcCfg = { bUsrMode = {} } }, "Invalid audio agc config mode" },
      { { enWorkstate = "COMMON", stHpfCfg = { enHpfFreq = "80" } }, "Invalid audio hpf freq model" },
      { {}, "Invalid audio vqe workstate mode" },
      { 3, "AI_VQE_CONFIG_S must be a table for structure convension" },
    }) do
      local ok, msg = chn:SetVqeAttr(case[1])
      assert.is_nil(ok)
      assert.are.equal(case[2] .. " [@SetVqeAttr: line", msg:match("^(.- %[@SetVqeAttr: line)"))
    end
    -- a corner frequency is passed as it stands, for the platform to judge
    local ok, msg = chn:SetVqeAttr({ bHpfOpen = 1, s32WorkSampleRate = 8000, s32FrameSample = 320,
                                     enWorkstate = "COMMON", stHpfCfg = { enHpfFreq = 100 } })
    assert.matches("^%*+ Set Vqe Attr fail %[@SetVqeAttr: line %d+ %- error=A0158003%]$", msg)
    assert.are.equal(100, last_call("HI_MPI_AI_SetVqeAttr").args[5].stHpfCfg.enHpfFreq)
  end)

  it("report VQE switches alike, with the message alone", function()
    local other = dev:GetChannel(1)  -- never enabled
    local results = { other:EnableVqe() }
    assert.are.equal(1, #results)
    assert.matches("^%*+ Enable vqe failed %[@EnableVqe: line %d+ %- error=A0158009%]$", results[1])
    results = { other:DisableVqe() }
    assert.matches("^%*+ Enable vqe failed %[@DisableVqe: line", results[1])
    assert.is_true(chn:SetVqeAttr(VQE))
    assert.is_true(chn:EnableVqe())
    assert.is_true(chn:DisableVqe())
  end)

  it("resample only to rates the platform has, and answer values or codes", function()
    assert.are.equal(0, chn:EnableReSmp(22050))
    assert.are.equal(22050, last_call("HI_MPI_AI_EnableReSmp").args[3])
    sim.clear()
    local out, err = support.run([[
      require "tessel"
      print(Tessel.AI.GetDevice(0):GetChannel(0):EnableReSmp(22000))
    ]])
    assert.are.equal("-1\n", out)
    assert.are.same({ reporter = "EnableReSmp", message = "Convert sample rate error:Invalid audio sample rate" },
                    support.diagnostics(err)[2])
    assert.are.equal(0, chn:SetVeqVolume(-5))
    assert.are.equal(-5, chn:GetVeqVolume())
    assert.are.equal(s32(0xA0158009), dev:GetChannel(1):GetVeqVolume())
    assert.is_true(chn:SetParam({ u32UsrFrmDepth = 4 }))
    assert.are.same({ u32UsrFrmDepth = 4 }, chn:GetParam())
    local ok, msg = chn:SetParam(4)
    assert.matches("^Invalid attrs %[@SetParam: line %d+%]$", msg)
    assert.is_true(dev:SetTrackMode("both_left"))
    assert.are.equal("BOTH_LEFT", dev:GetTrackMode())
    ok, msg = dev:SetTrackMode("DEFAULT")  -- a second spelling, not accepted
    assert.matches("^Invalid audio track mode %[@SetTrackMode: line %d+%]$", msg)
  end)
end)

describe("audio output devices", function()
  local dev, chn
  before_each(function()
    fresh()
    dev, chn = running(AO)
    sim.clear()
  end)

  it("mute with or without fading, and read volume and mute back", function()
    assert.are.equal(0, dev:SetMute(true, { ["in"] = 1 }))
    assert.are.same({ bFade = 1, enFadeInRate = 1, enFadeOutRate = 0 }, last_call("HI_MPI_AO_SetMute").args[3])
    assert.is_true(dev:GetMute())
    assert.are.equal(0, dev:SetMute(false))
    assert.are.same({ 0, 0 }, { last_call("HI_MPI_AO_SetMute").args[2], last_call("HI_MPI_AO_SetMute").args[3].bFade })
    assert.is_false(dev:GetMute())
    assert.are.equal(0, dev:SetVolume(-20))
    assert.are.equal(-20, dev:GetVolume())
    assert.are.equal(s32(0xA0168003), dev:SetVolume(10))
  end)

  it("answer 0 and false after a diagnostic line when a getter fails", function()
    local out, err = support.run([[
      require "tessel"
      local dev = Tessel.AO.GetDevice(0)
      require("tessel.sim").fail("HI_MPI_AO_GetVolume", 1)
      require("tessel.sim").fail("HI_MPI_AO_GetMute", 1)
      require("tessel.sim").fail("HI_MPI_AO_ClrPubAttr", 1)
      print(dev:GetVolume(), dev:GetMute(), dev:ClrPubAttr())
    ]])
    assert.are.equal("0\tfalse\t1\n", out)
    local d = support.diagnostics(err)
    assert.are.same({ "Fail to get AO device volume of device:0", "Fail to get AO device mute status of device:0",
                      "Fail to clear pub attributes of device:0" }, { d[1].message, d[2].message, d[3].message })
  end)

  it("keep the channel VQE methods inert", function()
    assert.are.same({ 0, 0, 0, 0 }, { chn:SetVqeAttr({}), chn:GetVqeAttr(), chn:EnableVqe(), chn:DisableVqe() })
    assert.are.equal(0, #sim.calls())
    assert.are.same({ 0, 0, 0 }, { chn:Pause(), chn:Resume(), chn:ClearBuf() })
  end)
end)

describe("the simulated audio devices", function()
  before_each(fresh)

  it("enable devices once configured, channels on enabled devices, and bind input to output", function()
    local dev = AI.GetDevice(0)
    assert.are.equal(s32(0xA0158007), dev:Enable())
    assert.is_true(dev:SetPubAttr(attrs()))
    local chn = dev:GetChannel(0)
    assert.are.equal(s32(0xA0158009), chn:Enable())
    assert.are.equal(0, dev:Enable())
    assert.are.equal(0, chn:Enable())
    assert.are.equal(s32(0xA0158002), dev:GetChannel(2):Enable())  -- beyond the channel count
    local ok, msg = dev:SetPubAttr(attrs())
    assert.matches("error=A0158009%]$", msg)  -- enabled: no new attributes
    -- resampling to another rate than the device's, on an enabled channel; VQE volumes of -20 to 10 dB
    assert.are.same({ s32(0xA0158003), 0 }, { chn:EnableReSmp(8000), chn:EnableReSmp(16000) })
    assert.are.equal("8000 Hz is the device's own rate: nothing to resample",
                     support.calls_named("HI_MPI_AI_EnableReSmp")[1].reason)
    assert.are.same({ s32(0xA0158009), s32(0xA0158003) },
                    { dev:GetChannel(1):EnableReSmp(16000), chn:SetVeqVolume(11) })
    local vqe = { s32WorkSampleRate = 8000, s32FrameSample = 320, enWorkstate = "COMMON" }
    local second = dev:GetChannel(1)
    assert.are.same({ 0, 0 }, { second:Enable(), second:Disable() })
    ok, msg = second:SetVqeAttr(vqe)  -- a channel that is no longer enabled
    assert.matches("error=A0158009%]$", msg)
    for _, bad in ipairs({ { s32WorkSampleRate = 48000 }, { s32FrameSample = 40 } }) do
      local t = {}
      for k, v in pairs(vqe) do t[k] = bad[k] or v end
      ok, msg = chn:SetVqeAttr(t)
      assert.matches("error=A0158003%]$", msg)
    end
    local _, out = running(AO)
    assert.is_true(Tessel.SYS.Bind(chn, out))
    assert.matches('"21_0_0" -> "22_0_0"', sim.dot(), 1, true)
    assert.is_true(Tessel.SYS.UnBind(chn, out))
    assert.are.equal(0, dev:Disable())
    assert.are.equal("device-disabled-under-channels", sim.check()[1].rule)
  end)
end)
