-- tessel.osd: text rendered with FreeType into overlay bitmaps, judged by
-- their pixels, and shown by a region on the pictures of a processing
-- channel in the simulator.
local available, osd = pcall(require, "tessel.osd")

if not available then
  -- A build without FreeType has no tessel.osd; requiring it says why.
  describe("tessel.osd", function()
    it("is absent from a build without FreeType, and says so", function()
      assert.matches("built without FreeType", osd)
    end)
  end)
  return
end

-- Pixels by column and row from 0: alpha, red, green, blue (5 bits for
-- ARGB1555, the alpha a single bit; 8 bits for ARGB8888).
local function pixel(bitmap, x, y)
  local i = y * bitmap.u32Width + x
  if bitmap.enPixelFormat == "RGB_8888" then
    local b, g, r, a = bitmap.data:byte(i * 4 + 1, i * 4 + 4)
    return a, r, g, b
  end
  local v = string.unpack("<I2", bitmap.data, i * 2 + 1)
  return v >> 15, v >> 10 & 31, v >> 5 & 31, v & 31
end

local function opaque(bitmap, x, y) return pixel(bitmap, x, y) == 1 end

-- The row in the middle of the bitmap, and the first column from the left
-- where it is opaque.
local function firstOpaque(bitmap, y)
  for x = 0, bitmap.u32Width - 1 do
    if opaque(bitmap, x, y) then return x end
  end
end

describe("osd.render", function()
  it("makes an even-sized ARGB1555 bitmap whose string holds exactly its pixels", function()
    for _, text in ipairs({ "I", "Hello", "", "12:34:56" }) do
      local bitmap = assert(osd.render(text, { size = 21 }))
      assert.are.equal("RGB_1555", bitmap.enPixelFormat)
      assert.are.equal(0, bitmap.u32Width % 2)
      assert.are.equal(0, bitmap.u32Height % 2)
      assert.is_true(bitmap.u32Width >= 2)
      assert.are.equal(bitmap.u32Width * bitmap.u32Height * 2, #bitmap.data)
      assert.are.same({ bitmap.u32Width, bitmap.u32Height }, { osd.measure(text, { size = 21 }) })
    end
  end)

  it("covers the glyph's stem with opaque pixels of the text's colour, on a transparent background", function()
    local bitmap = osd.render("I", { size = 48, color = 0x00FF00 })
    local h = bitmap.u32Height
    local x = assert(firstOpaque(bitmap, h // 2))
    local covered = 0
    for y = 0, h - 1 do
      if opaque(bitmap, x + 1, y) then
        covered = covered + 1
        assert.are.same({ 1, 0, 31, 0 }, { pixel(bitmap, x + 1, y) })
      end
    end
    assert.is_true(covered >= 30, covered)  -- a capital's height at 48 pixels per em
    -- corners are background: alpha 0, carrying the background's colour (black)
    assert.are.same({ 0, 0, 0, 0 }, { pixel(bitmap, 0, 0) })
    assert.are.same({ 0, 0, 0, 0 }, { pixel(bitmap, bitmap.u32Width - 1, h - 1) })
  end)

  it("surrounds the glyph with its outline, in the outline's colour, and grows by it", function()
    local plain = osd.render("I", { size = 48 })
    local bitmap = osd.render("I", { size = 48, outline = 3, outlineColor = 0xFF0000 })
    assert.are.equal(plain.u32Width + 6, bitmap.u32Width)
    assert.are.equal(plain.u32Height + 6, bitmap.u32Height)
    local y = bitmap.u32Height // 2
    local edge = assert(firstOpaque(bitmap, y))
    for x = edge, edge + 1 do assert.are.same({ 1, 31, 0, 0 }, { pixel(bitmap, x, y) }) end
    local a, r, g, b = pixel(bitmap, edge + 4, y)  -- past the outline's width: the glyph, white
    assert.are.same({ 1, 31, 31, 31 }, { a, r, g, b })
    assert.are.equal(0, (pixel(bitmap, edge - 1, y)))
    -- above and below the stem too
    local top, bottom
    for row = 0, bitmap.u32Height - 1 do
      if opaque(bitmap, edge + 4, row) then
        top = top or row
        bottom = row
      end
    end
    assert.are.same({ 1, 31, 0, 0 }, { pixel(bitmap, edge + 4, top) })
    assert.are.same({ 1, 31, 0, 0 }, { pixel(bitmap, edge + 4, bottom) })
  end)

  it("gives the background its colour and alpha", function()
    local solid = osd.render("I", { size = 24, background = 0x0000FF })
    for y = 0, solid.u32Height - 1 do
      for x = 0, solid.u32Width - 1 do assert.is_true(opaque(solid, x, y)) end
    end
    assert.are.same({ 1, 0, 0, 31 }, { pixel(solid, 0, 0) })
    -- an alpha under half: transparent in ARGB1555, still carrying the colour
    local faint = osd.render("I", { size = 24, background = 0x0000FF, backgroundAlpha = 100 })
    assert.are.same({ 0, 0, 0, 31 }, { pixel(faint, 0, 0) })
    assert.are.same({ 0, 0, 0, 31 }, { pixel(osd.render("I", { size = 24, background = 0x640000FF }), 0, 0) })

    local clear = osd.render("I", { size = 24, format = "rgb_8888" })
    assert.are.equal("RGB_8888", clear.enPixelFormat)
    assert.are.equal(clear.u32Width * clear.u32Height * 4, #clear.data)
    assert.are.equal(0, (pixel(clear, 0, 0)))
    local filled = osd.render("I", { size = 24, format = "RGB_8888", background = 0x102030 })
    assert.are.equal("\x30\x20\x10\xFF", filled.data:sub(1, 4))  -- B, G, R, A
    assert.are.same({ 100, 0x10, 0x20, 0x30 },
                    { pixel(osd.render("I", { format = "RGB_8888", background = 0x102030, backgroundAlpha = 100 }), 0, 0) })
  end)

  it("keeps anti-aliased edges and the text's own alpha in ARGB8888, blends them into an opaque background", function()
    local bitmap = osd.render("O", { size = 48, format = "RGB_8888", color = 0x80FF0000 })
    local alphas = {}
    for i = 4, #bitmap.data, 4 do alphas[bitmap.data:byte(i)] = true end
    assert.is_true(alphas[128] and alphas[0])
    for a in pairs(alphas) do assert.is_true(a <= 128) end
    local partial = 0
    for a in pairs(alphas) do
      if a > 0 and a < 128 then partial = partial + 1 end
    end
    assert.is_true(partial > 10)
    -- over an opaque background every pixel is opaque; edges mix both colours
    local mixed = osd.render("O", { size = 48, format = "RGB_8888", color = 0xFFFFFF, background = 0 })
    local greys = {}
    for i = 1, #mixed.data, 4 do
      local b, g, r, a = mixed.data:byte(i, i + 3)
      assert.are.same({ 255, r, r }, { a, g, b })
      greys[r] = true
    end
    assert.is_true(greys[0] and greys[255] and next(greys, nil) ~= nil)
  end)

  it("grows with the size, the padding and the lines", function()
    local w16, h16 = osd.measure("Clock", { size = 16 })
    local w32, h32 = osd.measure("Clock", { size = 32 })
    local w64, h64 = osd.measure("Clock", { size = 64 })
    assert.is_true(w16 < w32 and w32 < w64)
    assert.is_true(h16 < h32 and h32 < h64)
    for size, h in pairs({ [16] = h16, [32] = h32, [64] = h64 }) do
      assert.is_true(h >= size and h <= size * 3 // 2 + 2, size .. " -> " .. h)
    end
    assert.are.same({ w32 + 8, h32 + 8 }, { osd.measure("Clock", { size = 32, padding = 4 }) })
    local _, twoLines = osd.measure("Clock\nClock", { size = 32 })
    assert.is_true(twoLines > h32 * 3 // 2)
    assert.are.equal(w32, (osd.measure("Clock\nC", { size = 32 })))
  end)

  it("reads UTF-8, showing malformed bytes and missing characters rather than failing", function()
    local w = osd.measure("e", { size = 32 })
    assert.are.equal(w, (osd.measure("\xC3\xA9", { size = 32 })))  -- é is as wide as e in DejaVu Sans
    for _, text in ipairs({ "\xFF", "\xC3", "\xE2\x82", "\xED\xA0\x80", "\u{4E2D}" }) do
      local bitmap = assert(osd.render(text, { size = 32 }))
      assert.is_truthy(firstOpaque(bitmap, bitmap.u32Height // 2), text)
    end
    assert.are.same({ osd.measure("a b", { size = 32 }) }, { osd.measure("a\tb\1", { size = 32 }) })
  end)

  it("opens the font that is asked for, and reports one that does not open", function()
    local mono = "/usr/share/fonts/truetype/dejavu/DejaVuSansMono.ttf"
    assert.is_true(osd.measure("iiii", { font = mono, size = 32 }) > 1.5 * osd.measure("iiii", { size = 32 }))
    local none, msg = osd.render("x", { font = "/nonexistent/font.ttf" })
    assert.is_nil(none)
    assert.are.equal("Cannot open font /nonexistent/font.ttf: No such file or directory", msg)
    none, msg = osd.render("x", { font = "tests/lua/osd_test.lua" })
    assert.is_nil(none)
    assert.are.equal("Cannot open font tests/lua/osd_test.lua: unknown file format", msg)
    assert.are.same({ nil, "Cannot open font /nonexistent/font.ttf: No such file or directory" },
                    { osd.font("/nonexistent/font.ttf", 20) })
  end)

  it("raises for arguments of the wrong type, and refuses values out of range", function()
    for _, args in ipairs({ {}, { {} }, { "x", 5 }, { "x", { size = "big" } }, { "x", { size = 1.5 } },
                            { "x", { color = "red" } }, { "x", { outline = true } }, { "x", { format = 8 } },
                            { "x", { font = 1 } } }) do
      assert.has_error(function() osd.render(table.unpack(args, 1, 2)) end)
      assert.has_error(function() osd.measure(table.unpack(args, 1, 2)) end)
    end
    assert.has_error(function() osd.font(nil, "big") end)
    for _, case in ipairs({ { { size = 0 }, "Invalid size 0" }, { { size = 2000 }, "Invalid size 2000" },
                            { { outline = -1 }, "Invalid outline -1" }, { { padding = 300 }, "Invalid padding 300" },
                            { { backgroundAlpha = 256 }, "Invalid backgroundAlpha 256" },
                            { { color = 0x100000000 }, "Invalid color 4294967296" },
                            { { format = "YUV_SEMIPLANAR_420" }, "Invalid format YUV_SEMIPLANAR_420" } }) do
      assert.are.same({ nil, case[2] }, { osd.render("x", case[1]) })
      assert.are.same({ nil, case[2] }, { osd.measure("x", case[1]) })
    end
    assert.are.same({ nil, "Invalid size 0" }, { osd.font(nil, 0) })
    local none, msg = osd.render(string.rep("W", 10), { size = 1024 })
    assert.is_nil(none)
    assert.matches("^Text of %d+ x %d+ pixels is larger than 8192 x 8192$", msg)
  end)
end)

describe("osd.font", function()
  it("renders as osd.render does at its size, again and again from its glyphs", function()
    local clock = assert(osd.font(nil, 32))
    local expected = osd.render("12:34:56", { size = 32, outline = 2 })
    for _ = 1, 3 do assert.are.same(expected, clock:render("12:34:56", { outline = 2, size = 8, font = "ignored" })) end
    assert.are.same({ expected.u32Width, expected.u32Height }, { clock:measure("12:34:56", { outline = 2 }) })
    assert.are.same(osd.render("x"), osd.font():render("x"))  -- 24 pixels per em, DejaVu Sans
    assert.has_error(function() clock.render("not a font", "x") end)
    assert.has_error(function() clock:render({}) end)
  end)

  it("frees FreeType's objects when collected, whatever happened to the font", function()
    local fonts = {}
    for i = 1, 50 do
      fonts[i] = osd.font(nil, 8 + i)
      fonts[i]:render("garbage" .. i)
    end
    fonts = nil
    collectgarbage()
    collectgarbage()
    -- a render that raises half-way leaves nothing behind either
    local raising = setmetatable({}, { __index = function(_, k)
      if k == "padding" then error("no padding") end
    end })
    assert.has_error(function() osd.render("x", raising) end, "no padding")
  end)
end)

describe("An overlay of rendered text", function()
  require "tessel"
  local sim = require "tessel.sim"
  local support = require "tests.lua.support"
  local W, H = 320, 240

  teardown(function() sim.clock("real") end)

  it("shows bright text inside its dark outline on the pictures of a processing channel", function()
    support.fresh()
    sim.clock("virtual")
    local dev = Tessel.VI.GetDevice(0)
    assert(dev:ConfigMode("BT656") and dev:Enable() == 0)
    local vi = dev:GetChannel(0)
    assert(vi:SetAttr({ stCapRect = { 0, 0, W, H }, stDestSize = { W, H }, enCapSel = "BOTH",
                        enScanMode = "PROGRESSIVE", enPixFormat = "YUV_SEMIPLANAR_420",
                        s32SrcFrameRate = 30, s32DstFrameRate = 30 }))
    assert(vi:Enable() == 0)
    local group = Tessel.VPSS.CreateGroup(0, { u32MaxW = W, u32MaxH = H, enPixFmt = "YUV_SEMIPLANAR_420",
                                               enDieMode = "NODIE" })
    local chn = group:GetChannel(0)
    assert(chn:Enable() == 0 and group:Start() == 0)
    assert(Tessel.SYS.Bind(vi, group))

    local bitmap = assert(osd.render("\u{2588}8", { size = 40, outline = 2, color = 0xFFFFFF, outlineColor = 0 }))
    local region = Tessel.RGN.CreateRegion(0, { type = "OVERLAYEX", attr = { enPixelFmt = "RGB_1555", u32BgColor = 0,
      stSize = { u32Width = bitmap.u32Width, u32Height = bitmap.u32Height } } })
    assert.is_true(region:SetBitMap(bitmap))
    local X, Y = 40, 60
    assert.is_true(region:AttachToChn(chn, { bShow = true, enType = "OVERLAYEX",
      attr = { stPoint = { s32X = X, s32Y = Y }, u32FgAlpha = 128, u32BgAlpha = 0, u32Layer = 0 } }))
    assert.are.equal(0, chn:SetDepth(1))
    local frame = assert(chn:GetFrame(-1))
    local luma = frame:GetData():sub(1, W * H)
    frame:Release()

    local bright, dark = 0, 0
    for y = 0, bitmap.u32Height - 1 do
      for x = 0, bitmap.u32Width - 1 do
        local a, r = pixel(bitmap, x, y)
        local l = luma:byte((Y + y) * W + X + x + 1)
        if a == 1 and r == 31 then
          assert.is_true(l >= 225, l)
          bright = bright + 1
        elseif a == 1 and r == 0 then
          assert.is_true(l <= 25, l)
          dark = dark + 1
        end
      end
    end
    assert.is_true(bright > 300 and dark > 100, bright .. " bright, " .. dark .. " dark")
  end)
end)
