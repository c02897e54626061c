-- Video buffer pools: user names, the common pool layout and its read-back,
-- per-module pools, and private pools owned by their Pool object.
require "tessel"
local sim = require "tessel.sim"
local support = require "tests.lua.support"
local SYS, VB = Tessel.SYS, Tessel.VB

local t = require "tests.lua.sys_support"
local u32, calls_named, pools = t.u32, t.calls_named, t.pools

describe("buffer users", function()
  it("map both ways, with 22 and \"invalid\" for what has no row", function()
    for name, id in pairs({ VIU = 0, VENC = 3, USER = 20, H265E = 21 }) do
      assert.are.equal(id, VB.Name2UID(name))
      assert.are.equal(name, VB.UID2Name(id))
    end
    assert.are.equal(22, VB.Name2UID("Venc"))
    assert.are.equal("invalid", VB.UID2Name(22))
    assert.are.equal("invalid", VB.UID2Name(-3))
  end)
end)

describe("the common pool layout", function()
  before_each(sim.reset)

  it("reads back the pools in use, names only where given", function()
    local layout = { { u32BlkSize = 4096, u32BlkCnt = 8, acMmzName = "ddr1" },
                     { u32BlkSize = 0, u32BlkCnt = 3 },
                     { u32BlkSize = 1024, u32BlkCnt = 2, acMmzName = 7 } }
    assert.are.equal(0, VB.Config(10, layout))
    local got, max = VB.GetConfig()
    assert.are.same({ { u32BlkSize = 4096, u32BlkCnt = 8, acMmzName = "ddr1" },
                      { u32BlkSize = 1024, u32BlkCnt = 2 } }, got)
    assert.are.equal(10, max)
  end)

  it("takes the first 16 entries and names of at most 16 bytes", function()
    assert.are.equal(0, VB.Config(20, pools(17, { acMmzName = "0123456789abcdefGHI" })))
    local sent = calls_named("HI_MPI_VB_SetConf")[1].args[1]
    assert.are.equal(16, #sent.astCommPool)
    assert.are.equal(1016, sent.astCommPool[16].u32BlkSize)
    local got = VB.GetConfig()
    assert.are.equal(16, #got)
    assert.are.equal("0123456789abcdef", got[1].acMmzName)
  end)

  it("answers the platform's status from Config and a single nil from GetConfig", function()
    assert.are.same({ n = 1 }, table.pack(VB.GetConfig()))  -- never configured
    assert.are.equal(0xA0018009, u32(VB.Init()))
    assert.are.equal(0, VB.Config(4, pools(2)))
    assert.are.equal(0, VB.Init())
    assert.are.equal(0xA0018009, u32(VB.Config(4, pools(1))))  -- pools in place
  end)

  it("refuses unusable arguments without calling the platform", function()
    for _, case in ipairs({
      { { "8", pools(1) }, "Invalid arguments" },
      { { 0, pools(1) }, "Max pool count is <= 0" },
      { { -2, pools(1) }, "Max pool count is <= 0" },
      { { 4, "pools" }, "Invalid pool block configures" },
      { { 4, { { u32BlkSize = 64 } } }, "Invalid pool configures" },
      { { 4, { { u32BlkSize = 64, u32BlkCnt = "2" } } }, "Invalid pool configures" },
      { { 4, { pools(1)[1], 5 } }, "Invalid pool configures" },
    }) do
      local ok, msg = VB.Config(table.unpack(case[1]))
      assert.is_nil(ok)
      assert.matches("^" .. case[2] .. " %[@Config: line %d+%]$", msg)
    end
    assert.are.same({}, sim.calls())
  end)

  it("explains a malformed entry on standard error", function()
    local out, err = support.run([[
      require "tessel"
      print(Tessel.VB.Config(4, { { u32BlkSize = 64, u32BlkCnt = 1 }, { u32BlkSize = 64 } }))
      print(Tessel.VB.Config(4, { true }))
    ]])
    assert.matches("^nil\tInvalid pool configures %[@Config: line %d+%]\nnil\tInvalid pool configures", out)
    assert.are.same({ { reporter = "Init_VB_CONF_S", message = "Invalid block size/count int configure item" },
                      { reporter = "Init_VB_CONF_S", message = "Invalid pool block configure item" } },
                    support.diagnostics(err))
  end)
end)

describe("module common pools", function()
  before_each(function() t.start(true) end)

  it("are laid out, read back and made once the system runs", function()
    assert.is_true(VB.SetModPoolConf("VDEC", 2, pools(2)))
    local got, max = VB.GetModPoolConf(4)
    assert.are.same(pools(2), got)
    assert.are.equal(2, max)
    local ok, msg = VB.InitModCommPool("VDEC")
    assert.is_nil(ok)
    assert.matches("^Init module common pool fail %[@InitModCommPool: line %d+ %- error=A0018010%]$", msg)
    assert.are.equal(0, SYS.Init())
    assert.is_true(VB.InitModCommPool(4))
    assert.is_true(VB.ExitModCommPool("VDEC"))
    assert.are.same({ 4, 4, 4 }, { calls_named("HI_MPI_VB_InitModCommPool")[2].args[1],
                                  calls_named("HI_MPI_VB_ExitModCommPool")[1].args[1],
                                  calls_named("HI_MPI_VB_SetModPoolConf")[1].args[1] })
  end)

  it("report unusable arguments and platform refusals", function()
    for _, case in ipairs({
      { "InitModCommPool", { "NOPE" }, "Invalid UserID or UserID name specified" },
      { "ExitModCommPool", {}, "Invalid UserID or UserID name specified" },
      { "SetModPoolConf", { "vdec", 2, pools(1) }, "Invalid UID/UID name specified" },
      { "GetModPoolConf", { "NOPE" }, "Invalid UID/UID name specified" },
      { "SetModPoolConf", { "VDEC", 0, pools(1) }, "Invalid max pool count" },
      { "SetModPoolConf", { "VDEC", 2, 7 }, "Invalid block configure items" },
    }) do
      local ok, msg = VB[case[1]](table.unpack(case[2], 1, 3))
      assert.is_nil(ok)
      assert.matches("^" .. case[3] .. " %[@" .. case[1] .. ": line %d+%]$", msg)
    end
    local ok, msg = VB.GetModPoolConf("VENC")
    assert.is_nil(ok)
    assert.matches("^Fail to get module pool configure %[@GetModPoolConf: line %d+ %- error=A0018009%]$", msg)
    ok, msg = VB.SetModPoolConf(99, 2, pools(1))
    assert.matches("^Fail to set module pool configure %[@SetModPoolConf: line %d+ %- error=A0018003%]$", msg)
    sim.fail("HI_MPI_VB_ExitModCommPool", 2)
    ok, msg = VB.ExitModCommPool("VDEC")
    assert.matches("^Exit module common pool fail %[@ExitModCommPool: line %d+ %- error=00000002%]$", msg)
  end)
end)

describe("private pools", function()
  before_each(function() t.start(true) end)

  local function destroyed()
    local ids = {}
    for _, c in ipairs(calls_named("HI_MPI_VB_DestroyPool")) do ids[#ids + 1] = c.args[1] end
    return ids
  end

  it("are destroyed once when Lua collects the owning object", function()
    local pool = VB.CreatePool(4096, 3, "ddr1")
    local id = pool.ID
    assert.are.same({ 4096, 3, "ddr1" }, calls_named("HI_MPI_VB_CreatePool")[1].args)
    assert.are.same({ 0, 0 }, { pool:Mmap(), pool:Munmap() })
    pool = nil
    collectgarbage()
    collectgarbage()
    assert.are.same({ id }, destroyed())
  end)

  it("are destroyed by Destroy only once, and by id with a status", function()
    local pool = VB.CreatePool(512, 1)
    pool:Destroy()
    pool:Destroy()
    assert.are.equal(0xA0018005, u32(pool:Mmap()))  -- gone
    pool = nil
    collectgarbage()
    local other = VB.CreatePool(512, 1)
    assert.are.equal(0, VB.DestroyPool(other.ID))
    assert.are.equal(0xA0018005, u32(VB.DestroyPool(other.ID)))
    assert.are.equal(3, #destroyed())
    assert.is_nil(calls_named("HI_MPI_VB_CreatePool")[1].args[3])  -- default zone
  end)

  it("report refusals on standard error and answer nil", function()
    local out, err = support.run([[
      require "tessel"
      print(Tessel.VB.CreatePool(0, 10), Tessel.VB.CreatePool(10, 0))
      print(Tessel.VB.CreatePool(10, 10))  -- the buffer pools are not up
    ]])
    assert.are.equal("nil\tnil\nnil\n", out)
    assert.are.same({ { reporter = "CreatePool", message = "Invalid blkSize/blkCnt while creating pool!" },
                      { reporter = "CreatePool", message = "Invalid blkSize/blkCnt while creating pool!" },
                      { reporter = "CreatePool", message = "Create pool fail: Get invalid pool id" } },
                    support.diagnostics(err))
  end)
end)
