-- Helpers of the system and buffer pool tests.
require "tessel"
local sim = require "tessel.sim"

local M = {}

local support = require "tests.lua.support"
M.u32, M.calls_named, M.last_call = support.u32, support.calls_named, support.last_call

-- n pool entries of distinct sizes and counts; extra fields go into the first.
function M.pools(n, extra)
  local t = {}
  for i = 1, n do t[i] = { u32BlkSize = 1000 + i, u32BlkCnt = i } end
  for k, v in pairs(extra or {}) do t[1][k] = v end
  return t
end

-- Capture channels, processing groups and encoder channels that binding
-- tests address; a binding needs both ends to exist.
local ends = {}

local function make_ends()
  local group = { u32MaxW = 1920, u32MaxH = 1080, enPixFmt = "YUV_SEMIPLANAR_420", enDieMode = "yes" }
  local channel = {
    encoding = { type = "H264", attr = { u32MaxPicWidth = 352, u32MaxPicHeight = 288, u32BufSize = 352 * 288 * 2,
                                         u32PicWidth = 352, u32PicHeight = 288 } },
    bitrate = { mode = "H264CBR", attr = { u32Gop = 30, u32StatTime = 1, u32SrcFrmRate = 30,
                                           fr32DstFrmRate = 30, u32BitRate = 1024 } },
  }
  local capture = { stCapRect = { s32X = 0, s32Y = 0, u32Width = 720, u32Height = 576 },
                    stDestSize = { u32Width = 720, u32Height = 576 }, enPixFormat = "YUV_SEMIPLANAR_420",
                    s32SrcFrameRate = -1, s32DstFrameRate = -1 }
  ends = {}
  for _, c in ipairs({ 0, 3 }) do
    ends[#ends + 1] = Tessel.VI.GetDevice(c // 4):GetChannel(c)
    assert(ends[#ends]:SetAttr(capture))
  end
  for _, g in ipairs({ 0, 2, 4 }) do ends[#ends + 1] = assert(Tessel.VPSS.CreateGroup(g, group)) end
  for _, c in ipairs({ 0, 2, 5, 9 }) do ends[#ends + 1] = assert(Tessel.VENC.CreateChannel(c, channel)) end
end

-- A fresh platform with buffer pools up, and the system too unless told not
-- (then with the groups and channels binding tests use).
function M.start(withoutSystem)
  ends = {}
  collectgarbage()
  sim.reset()
  assert(Tessel.VB.Config(8, M.pools(1)) == 0 and Tessel.VB.Init() == 0)
  if not withoutSystem then
    assert(Tessel.SYS.Init() == 0)
    make_ends()
  end
  sim.clear()
end

return M
