-- The inner audio codec: the requests each method sends to the codec device
-- (as the emulated device journals them), the argument mappings and range
-- checks, the two-sided gain and mute methods, and the not-open path.
require "tessel"
local sim = require "tessel.sim"
local support = require "tests.lua.support"
local ACODEC = Tessel.ACODEC

-- The requests sent since the journal was cleared, as {request, value}.
local function sent()
  local out = {}
  for _, c in ipairs(sim.calls()) do
    if c.name == "ioctl" then out[#out + 1] = { c.args[1], c.args[2] } end
  end
  return out
end

local function opened()
  sim.reset()
  local codec = ACODEC.CreateInnerCodec()
  assert(codec:Open() >= 0)
  sim.clear()
  return codec
end

describe("InnerCodec requests", function()
  local codec
  before_each(function() codec = opened() end)
  after_each(function() codec:Close() end)

  it("map sample rates to family codes on the interface the last argument names", function()
    assert.are.same({ 0, 0, 0, -1 }, { codec:SetSampleRate(22050), codec:SetSampleRate(44100, "i2s2"),
                                       codec:SetSampleRate(8000, "I2S1"), codec:SetSampleRate(96000) })
    assert.are.same({ { 0xC0044106, 0x19 }, { 0xC0044135, 0x1A }, { 0xC0044106, 0x18 } }, sent())
    sim.clear()
    for _, bits in ipairs({ 8, 16, 32 }) do codec:SetDataWidth(bits) end
    codec:SetDataWidth(24, "I2S2")
    assert.are.same({ { 0xC0044133, 0 }, { 0xC0044133, 1 }, { 0xC0044133, 2 }, { 0xC0044134, 2 } }, sent())
  end)

  it("select sources, interfaces and output mode by name, case ignored", function()
    for _, name in ipairs({ "mic_d", "MICIN", "MICLINE", "MICLINE_D", "linein_d" }) do
      assert.are.equal(0, codec:SelectSource(name))
    end
    codec:SelectADCI2S("i2s2")
    codec:SelectDACI2S()
    codec:SetOutputDiffMode("Right")
    codec:SetOutputDiffMode(nil)
    assert.are.same({ { 0xC0044108, 0 }, { 0xC0044108, 1 }, { 0xC0044108, 2 }, { 0xC0044108, 2 },
                      { 0xC0044108, 4 }, { 0xC0044132, 1 }, { 0xC0044131, 0 }, { 0xC0044107, 1 },
                      { 0xC0044107, 2 } }, sent())
  end)

  it("check volume ranges before sending, and read volumes back", function()
    assert.are.same({ 0, 0, 0 }, { codec:SetInputVolume(80), codec:SetInputVolume(-78), codec:SetOutputVolume(6) })
    sim.clear()
    local out, err = support.run([[
      require "tessel"
      local codec = Tessel.ACODEC.CreateInnerCodec()
      codec:Open()
      print(codec:SetInputVolume(81), codec:SetInputVolume(-79), codec:SetOutputVolume(7),
            codec:SelectSource("HDMI"), codec:SelectSource(), codec:SetSampleRate(96000))
    ]])
    assert.are.equal("-1\t-1\t-1\t-1\t-1\t-1\n", out)
    local messages = {}
    for _, d in ipairs(support.diagnostics(err)) do messages[#messages + 1] = d.message end
    assert.are.same({ "Input volume gain out of range: 81, valid is [-78,80]",
                      "Input volume gain out of range: -79, valid is [-78,80]",
                      "Output volume gain out of range: 7, valid is [-121,6]", "Invalid audio source of: HDMI",
                      "Invalid audio source of: nil", "Not support sample rate of: 96000" }, messages)
    assert.are.same({ -78, 6 }, { codec:GetInputVolume(), codec:GetOutputVolume() })
    sim.fail("ioctl", -1)
    assert.are.equal(65535, codec:GetInputVolume())
  end)

  it("send gains and mutes per side, skipping sides that are neither, and read them back", function()
    assert.is_true(codec:SetDACGain("mute", 3))
    assert.is_true(codec:SetADCGain(nil, 5))
    assert.is_true(codec:SetMICGain(7, "loud"))
    assert.are.same({ { 0xC008410F, { 0, 1 } }, { 0xC0084110, { 3, 0 } }, { 0xC0084112, { 5, 0 } },
                      { 0xC004410C, 7 } }, sent())
    assert.are.same({ "MUTE", 3 }, { codec:GetDACGain() })
    assert.are.same({ 0, 5 }, { codec:GetADCGain() })
    assert.are.same({ 7, 0 }, { codec:GetMICGain() })
    sim.clear()
    assert.is_true(codec:SetMICMute(true, 0))
    assert.is_true(codec:SetDACMute(2, false))  -- the driver refuses 2; the right side succeeds last
    assert.is_false(codec:SetDACMute(false, 2))
    assert.is_true(codec:SetMICMute("yes", {}))  -- nothing sent
    assert.are.same({ { 0xC0044113, 1 }, { 0xC0044114, 0 }, { 0xC0044116, 2 }, { 0xC0044117, 0 },
                      { 0xC0044116, 0 }, { 0xC0044117, 2 } }, sent())
    sim.clear()
    assert.are.same({ 0, 0 }, { codec:DacSoftMute(), codec:DacSoftUnmute() })
    assert.are.same({ { 0xC0044118, 1 }, { 0xC0044119, 1 } }, sent())
  end)

  it("answer nil for the sides after a failed read", function()
    codec:SetMICGain(4, 9)
    sim.fail("ioctl", -1)
    local results = table.pack(codec:GetMICGain())
    assert.are.same({ n = 2 }, results)
    sim.fail("ioctl", -1)
    sim.clear()
    codec:GetMICGain()
    assert.are.same({ 0xC004411C }, { sent()[1][1], sent()[2] })  -- the right side is not asked
    codec:SetMICGain(4, 40)  -- the driver refuses 40 on the right
    local left, right = codec:GetMICGain()
    assert.are.same({ 4, 9 }, { left, right })
  end)
end)

describe("InnerCodec lifetime", function()
  it("opens once, logs every method while closed, and closes when collected", function()
    local out, err = support.run([[
      require "tessel"
      local codec = Tessel.ACODEC.CreateInnerCodec()
      print(codec:Reset(), codec:SetInputVolume(1), codec:GetOutputVolume(), codec:SetDACGain(1, 2), codec:GetMICGain())
      local fd = codec:Open()
      print(fd >= 0, codec:Open() == fd)
      codec:Close()
      codec:Close()
      print(codec:DacSoftMute())
      print(Tessel.ACODEC.CreateInnerCodec("/nonexistent/acodec"):Open())
    ]])
    assert.are.equal("-1\t-1\t-1\tnil\tnil\ntrue\ttrue\n-1\n-1\n", out)
    local d = support.diagnostics(err)
    assert.are.same({ "Reset", "ACODEC device is not open!" }, { d[1].reporter, d[1].message })
    assert.are.same({ "SetDACGain", "Device is not open" }, { d[4].reporter, d[4].message })
    assert.are.same({ "Open", "Fail to open audio codec device '/nonexistent/acodec'!" },
                    { d[7].reporter, d[7].message })
    assert.matches("error detail: No such file or directory", err, 1, true)
  end)

  it("closes its own descriptor when collected, and only its own", function()
    sim.reset()
    local function alive(fd) local f = io.open("/proc/self/fd/" .. fd) if f then f:close() end return f ~= nil end
    local kept, dropped = ACODEC.CreateInnerCodec(), ACODEC.CreateInnerCodec()
    local keptFd, droppedFd = kept:Open(), dropped:Open()
    assert.are_not.equal(keptFd, droppedFd)  -- each object opens the device itself
    dropped = nil
    collectgarbage()
    collectgarbage()
    assert.are.same({ true, false }, { alive(keptFd), alive(droppedFd) })
    assert.are.equal(0, kept:SetInputVolume(3))
    kept:Close()
    assert.is_false(alive(keptFd))
  end)

  it("opens the device so that child processes do not inherit it, and reports a refused open", function()
    sim.reset()
    local codec = ACODEC.CreateInnerCodec()
    assert.is_true(codec:Open() >= 0)
    local call = sim.calls()[1]
    assert.are.same({ "open", "/dev/acodec" }, { call.name, call.args[1] })
    assert.are.equal(0x80000, call.args[2] & 0x80000)  -- close on exec
    codec:Close()
    local out, err = support.run([[
      require "tessel"
      require("tessel.sim").fail("open", 1)
      print(Tessel.ACODEC.CreateInnerCodec():Open())
    ]])
    assert.are.equal("-1\n", out)
    assert.matches("Fail to open audio codec device '/dev/acodec'!", err, 1, true)
    assert.matches("error detail: No such device", err, 1, true)
  end)
end)
