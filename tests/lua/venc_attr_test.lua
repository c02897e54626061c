-- Encoder channel attributes: each codec and rate-control member goes to the
-- platform field by field and comes back through GetAttr; what the
-- conversion refuses, skips or spells differently on the way out.
require "tessel"
local sim = require "tessel.sim"
local VENC = Tessel.VENC

local support = require "tests.lua.support"
local fresh, last_call = support.fresh, support.last_call

-- The platform form of a table: flags as 1 or 0.
local function raw(t, extra)
  local r = {}
  for k, v in pairs(t) do
    if type(v) == "boolean" then v = v and 1 or 0 end
    r[k] = v
  end
  for k, v in pairs(extra or {}) do r[k] = v end
  return r
end

-- The table read back: the destination frame rate under a key with a
-- trailing blank.
local function blanked(t)
  local r = raw(t)
  for k, v in pairs(t) do r[k] = v end
  r["fr32DstFrmRate "], r.fr32DstFrmRate = r.fr32DstFrmRate, nil
  return r
end

local function picture(w, h, profile)
  return { u32MaxPicWidth = w, u32MaxPicHeight = h, u32BufSize = w * h * 2, u32Profile = profile,
           bByFrame = true, u32PicWidth = w - 640, u32PicHeight = h - 360 }
end

local H264 = picture(1920, 1088, 2)
local H265 = picture(2560, 1440, 0)
local JPEG = { u32MaxPicWidth = 1920, u32MaxPicHeight = 1080, u32BufSize = 1920 * 1080,
               bByFrame = false, u32PicWidth = 640, u32PicHeight = 480, bSupportDCF = true }
local MJPEG = { u32MaxPicWidth = 1280, u32MaxPicHeight = 720, u32BufSize = 1280 * 720,
                bByFrame = true, u32PicWidth = 704, u32PicHeight = 576 }

local CBR = { u32Gop = 50, u32StatTime = 2, u32SrcFrmRate = 25, fr32DstFrmRate = 24,
              u32BitRate = 4096, u32FluctuateLevel = 1 }
local VBR = { u32Gop = 60, u32StatTime = 3, u32SrcFrmRate = 30, fr32DstFrmRate = 15,
              u32MaxBitRate = 8192, u32MaxQp = 48, u32MinQp = 20, u32MinIQp = 22 }
local AVBR = { u32Gop = 75, u32StatTime = 4, u32SrcFrmRate = 50, fr32DstFrmRate = 25, u32MaxBitRate = 6000 }
local FIXQP = { u32Gop = 25, u32SrcFrmRate = 25, fr32DstFrmRate = 12, u32IQp = 30, u32PQp = 33 }
local MJCBR = { u32StatTime = 5, u32SrcFrmRate = 30, fr32DstFrmRate = 10, u32BitRate = 2048, u32FluctuateLevel = 2 }
local MJVBR = { u32StatTime = 6, u32SrcFrmRate = 25, fr32DstFrmRate = 5, u32MaxBitRate = 3000,
                u32MaxQfactor = 90, u32MinQfactor = 40 }
local MJFIXQP = { u32SrcFrmRate = 20, fr32DstFrmRate = 20, u32Qfactor = 75 }

-- type, its value and union member, codec attributes; mode (as written), its
-- name and value and member, rate-control attributes, fields the module leaves
-- zero, whether the rate comes back under the blank-suffixed key.
local cases = {
  { "H264", 96, "stAttrH264e", H264, "H264CBR", "H264CBR", 1, "stAttrH264Cbr", CBR, nil, true },
  { "h264", 96, "stAttrH264e", H264, "H264VBR", "H264VBR", 2, "stAttrH264Vbr", VBR, nil, true },
  { 96, 96, "stAttrH264e", H264, "h264avbr", "H264AVBR", 3, "stAttrH264AVbr", AVBR, nil, true },
  { "H264", 96, "stAttrH264e", H264, 5, "H264FIXQP", 5, "stAttrH264FixQp", FIXQP, { u32BQp = 0 }, true },
  { "H265", 265, "stAttrH265e", H265, "H265CBR", "H265CBR", 10, "stAttrH265Cbr", CBR, nil, true },
  { "H265", 265, "stAttrH265e", H265, "h265vbr", "H265VBR", 11, "stAttrH265Vbr", VBR, nil, true },
  { "H265", 265, "stAttrH265e", H265, "H265AVBR", "H265AVBR", 12, "stAttrH265AVbr", AVBR, nil, true },
  { "H265", 265, "stAttrH265e", H265, "H265FixQp", "H265FIXQP", 14, "stAttrH265FixQp", FIXQP, { u32BQp = 0 }, true },
  { "MJPEG", 1002, "stAttrMjpege", MJPEG, "MJPEGCBR", "MJPEGCBR", 7, "stAttrMjpegeCbr", MJCBR, nil, true },
  { "mjpeg", 1002, "stAttrMjpege", MJPEG, "MJPEGVBR", "MJPEGVBR", 8, "stAttrMjpegeVbr", MJVBR, nil, false },
  { "MJPEG", 1002, "stAttrMjpege", MJPEG, "MJPEGFIXQP", "MJPEGFIXQP", 9, "stAttrMjpegeFixQp", MJFIXQP, nil, false },
}

describe("VENC_CHN_ATTR_S", function()
  before_each(fresh)

  it("sends every codec and rate-control member field by field and reads it back", function()
    for i, c in ipairs(cases) do
      local type_, typeValue, member, attr, mode, modeName, modeValue, rcMember, rc, extra, blank =
        table.unpack(c, 1, 11)
      fresh()
      local chn = VENC.CreateChannel(i, { encoding = { type = type_, attr = attr },
                                          bitrate = { mode = mode, attr = rc } })
      local sent = last_call("HI_MPI_VENC_CreateChn")
      assert.are.equal(0, sent.ret, "case " .. i)
      assert.are.equal(typeValue, sent.args[2].stVeAttr.enType)
      assert.are.same(raw(attr), sent.args[2].stVeAttr[member], "case " .. i)
      assert.are.equal(modeValue, sent.args[2].stRcAttr.enRcMode)
      assert.are.same(raw(rc, extra), sent.args[2].stRcAttr[rcMember], "case " .. i)

      local got = assert(chn:GetAttr())
      local name = type(type_) == "number" and "H264" or type_:upper()
      assert.are.same({ encoding = { type = name, attr = attr },
                        bitrate = { mode = modeName, attr = blank and blanked(rc) or rc } }, got, "case " .. i)

      -- Handed in again unchanged, the blank-suffixed rate is not read: the
      -- platform gets 0 and refuses it.
      local ok, msg = chn:SetAttr(got)
      local resent = last_call("HI_MPI_VENC_SetChnAttr").args[2].stRcAttr[rcMember]
      if blank then
        assert.are.equal(0, resent.fr32DstFrmRate)
        assert.is_nil(ok)
        assert.matches("^Fail to set VENC channel attributes %[@SetAttr: line %d+ %- error=A0088003%]$", msg)
      else
        assert.are.equal(rc.fr32DstFrmRate, resent.fr32DstFrmRate)
        assert.is_true(ok)
      end
    end
  end)

  it("carries JPEG snapshots, which have no rate control", function()
    local chn = VENC.CreateChannel(0, { encoding = { type = "JPEG", attr = JPEG } })
    assert.are.same(raw(JPEG), last_call("HI_MPI_VENC_CreateChn").args[2].stVeAttr.stAttrJpege)
    assert.are.same({ encoding = { type = "JPEG", attr = JPEG }, bitrate = { mode = "invalid" } },
                    chn:GetAttr())
  end)

  it("skips members it cannot select, leaving zeros for the platform to judge", function()
    -- An unknown payload type: the codec member is not read, the platform refuses.
    local chn = VENC.CreateChannel(1, { encoding = { type = 97, attr = H264 },
                                        bitrate = { mode = "H264CBR", attr = CBR } })
    local sent = last_call("HI_MPI_VENC_CreateChn")
    assert.are.same({ enType = 97 }, sent.args[2].stVeAttr)
    assert.are.equal(0xA0088008, sent.ret & 0xFFFFFFFF)
    assert.matches("error=A0088005", select(2, chn:GetAttr()))

    -- A raw mode without a member: stored with an empty union, read back as "invalid".
    chn = VENC.CreateChannel(2, { encoding = { type = "H264", attr = H264 },
                                  bitrate = { mode = 4, attr = CBR } })
    assert.are.same({ enRcMode = 4, stAttrH264QVbr = { u32Gop = 0, u32StatTime = 0, u32SrcFrmRate = 0,
                                                       fr32DstFrmRate = 0, u32TargetBitRate = 0 } },
                    last_call("HI_MPI_VENC_CreateChn").args[2].stRcAttr)
    assert.are.same({ mode = "invalid" }, chn:GetAttr().bitrate)

    -- Parts that are not tables are left out without complaint.
    chn = VENC.CreateChannel(3, { encoding = "H264", bitrate = { mode = "H264CBR", attr = 5 } })
    sent = last_call("HI_MPI_VENC_CreateChn").args[2]
    assert.are.same({ enType = 0 }, sent.stVeAttr)
    assert.are.same({ 1, 0, 0 }, { sent.stRcAttr.enRcMode, sent.stRcAttr.stAttrH264Cbr.u32Gop,
                                   sent.stRcAttr.stAttrH264Cbr.u32BitRate })
  end)

  it("refuses bad tables, modes and types before calling the platform", function()
    local chn = VENC.CreateChannel(5, { encoding = { type = "H264", attr = H264 },
                                        bitrate = { mode = "H264CBR", attr = CBR } })
    sim.clear()
    local cases = {
      { 5, "Invalid VENC channel attributes" },
      { { bitrate = { mode = "CBR" } }, "Unknown RateControl mode" },
      { { bitrate = { mode = true } }, "Invalid RateControl mode" },
      { { encoding = { type = "VP6" } }, "Unknown payload type" },
    }
    for _, case in ipairs(cases) do
      local ok, msg = chn:SetAttr(case[1])
      assert.is_nil(ok)
      assert.matches("^" .. case[2] .. " %[@SetAttr: line %d+%]$", msg)
    end
    assert.are.same({}, sim.calls())
    assert.error_matches(function()
      chn:SetAttr({ encoding = { type = "H264", attr = { u32PicWidth = 0.5 } } })
    end, "number has no integer representation")
  end)
end)

describe("the simulated encoder", function()
  before_each(fresh)

  local function h264(width, height, mode, rc)
    return { encoding = { type = "H264", attr = picture(width, height, 1) },
             bitrate = { mode = mode or "H264CBR", attr = rc or CBR } }
  end

  it("judges pictures and rate control, and keeps the static attributes", function()
    local slow = { u32Gop = 30, u32StatTime = 1, u32SrcFrmRate = 30, fr32DstFrmRate = 30, u32BitRate = 1 }
    local refusals = {
      { h264(0, 1080), "largest picture 0x1080 outside " },  -- no picture
      { h264(8192, 1080), "largest picture 8192x1080 outside " },  -- wider than the encoder
      { h264(1920, 1080, "MJPEGCBR", MJCBR), "rate%-control mode 7 is not one of the H.264 modes" },
      { h264(1920, 1080, "H264CBR", { u32Gop = 30 }), "statistics time %(s%) 0 outside %[1, 60%]" },
      { h264(1920, 1080, "H264CBR", slow), "bit rate 1 kbit/s outside %[2, 102400%]" },
    }
    for i, r in ipairs(refusals) do
      local chn = VENC.GetChannel(i)
      local ok, msg = chn:Create(r[1])
      assert.is_nil(ok, "case " .. i)
      assert.matches("^Fail to create VENC channel %[@Create: line %d+ %- error=A0088003%]$", msg)
      assert.matches("^" .. r[2], last_call("HI_MPI_VENC_CreateChn").reason)
    end
    local chn = VENC.CreateChannel(3, h264(1920, 1080))
    assert.is_true(chn:SetAttr(h264(1920, 1080, "H264VBR", VBR)))
    local ok, msg = chn:SetAttr(h264(1280, 720))
    assert.is_nil(ok)
    assert.matches("error=A0088009%]$", msg)
    assert.matches("^the largest picture 1920x1080 is fixed once the channel exists %(1280x720 asked%)$",
                   last_call("HI_MPI_VENC_SetChnAttr").reason)
    assert.are.equal("H264VBR", chn:GetAttr().bitrate.mode)
  end)

  it("knows each channel once: twice created, or never", function()
    local first = VENC.CreateChannel(3, h264(1920, 1080))
    local ok, msg = VENC.GetChannel(3):Create(h264(1920, 1080))
    assert.matches("^Fail to create VENC channel %[@Create: line %d+ %- error=A0088004%]$", msg)
    ok, msg = VENC.GetChannel(4):GetAttr()
    assert.matches("^Fail to get VENC channel attributes %[@GetAttr: line %d+ %- error=A0088005%]$", msg)
    assert.is_true(first:GetAttr() ~= nil)
  end)
end)
