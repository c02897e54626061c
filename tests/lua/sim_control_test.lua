-- tessel.sim seen from a script: journal, faults, reset, clear and DOT text,
-- with tessel.so driving the same simulator.
require "tessel"
local sim = require "tessel.sim"
local support = require "tests.lua.support"

local EXISTS = 0xA0088004
local NOMEM = 0xA008800C

local function u32(x) return x & 0xFFFFFFFF end

local function create(id)
  Tessel.VENC.CreateChannel(id, {
    encoding = { type = "H264", attr = { u32MaxPicWidth = 352, u32MaxPicHeight = 288, u32BufSize = 352 * 288 * 2,
                                         u32PicWidth = 352, u32PicHeight = 288 } },
    bitrate = { mode = "H264CBR", attr = { u32Gop = 30, u32StatTime = 1, u32SrcFrmRate = 30,
                                           fr32DstFrmRate = 30, u32BitRate = 1024 } },
  })
  local calls = sim.calls()
  return calls[#calls]
end

describe("tessel.sim", function()
  before_each(function() support.power_on() end)

  it("journals each platform call with name, count, arguments and status", function()
    local call = create(3)
    assert.are.equal("HI_MPI_VENC_CreateChn", call.name)
    assert.are.equal(2, call.n)
    assert.are.equal(3, call.args[1])
    assert.are.equal("table", type(call.args[2]))
    assert.are.equal("table", type(call.args[2].stVeAttr))
    assert.are.equal(0, call.ret)
    assert.are.equal(EXISTS, u32(create(3).ret))
  end)

  it("reset returns to power-on", function()
    create(3)
    sim.fail("HI_MPI_VENC_CreateChn", NOMEM, 3)
    sim.reset()
    assert.are.equal(0, #sim.calls())
    assert.is_nil(sim.dot():find("VENC", 1, true))
    assert.are.equal(0xA0088010, u32(create(3).ret))  -- the system is down again
    support.power_on()
    assert.are.equal(0, create(3).ret)
  end)

  it("clear empties the journal and keeps the state", function()
    create(5)
    sim.clear()
    assert.are.equal(0, #sim.calls())
    assert.are.equal(EXISTS, u32(create(5).ret))
    assert.are.equal(1, #sim.calls())
  end)

  it("fail answers the next calls with the code and changes nothing", function()
    sim.fail("HI_MPI_VENC_CreateChn", NOMEM, 2)
    assert.are.equal(NOMEM, u32(create(1).ret))
    assert.are.equal(NOMEM, u32(create(1).ret))
    assert.is_nil(sim.dot():find("VENC 0/1", 1, true))
    assert.are.equal(0, create(1).ret)
    assert.is_truthy(sim.dot():find("VENC 0/1", 1, true))
  end)

  it("fail defaults to a single call", function()
    sim.fail("HI_MPI_VENC_CreateChn", NOMEM)
    assert.are.equal(NOMEM, u32(create(2).ret))
    assert.are.equal(0, create(2).ret)
  end)

  it("rejects bad arguments with Lua errors", function()
    assert.has_error(function() sim.fail("HI_MPI_VENC_Nope", 1) end,
      "sim.fail: unknown platform function 'HI_MPI_VENC_Nope'")
    assert.has_error(function() sim.fail({}, 1) end)
    assert.has_error(function() sim.fail("HI_MPI_SYS_Init", "x") end)
    assert.has_error(function() sim.fail("HI_MPI_SYS_Init", 1, 0) end)
    assert.has_error(function() sim.fail("HI_MPI_SYS_Init", 0x100000000) end)
  end)

  it("draws live objects as DOT nodes", function()
    create(4)
    create(6)
    local dot = sim.dot()
    assert.is_truthy(dot:match("^digraph"))
    local nodes = 0
    for _ in dot:gmatch('%[label="VENC') do nodes = nodes + 1 end
    assert.are.equal(2, nodes)
  end)
end)
