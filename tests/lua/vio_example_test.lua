-- examples/vio.lua: the capture's test pattern on the HDMI screen, through
-- a processing group, in virtual time.
local support = require "tests.lua.support"

local sh = support.sh
local tools = os.execute("command -v ffmpeg >/dev/null 2>&1 && command -v ffprobe >/dev/null 2>&1")

describe("examples/vio.lua", function()
  local dir = os.tmpname()
  os.remove(dir)
  local out, err, ok

  setup(function()
    out, err, ok = support.run(string.format("arg = { '--seconds', '1', '--out', '%s' }\n", dir) ..
                               "dofile('examples/vio.lua')")
  end)
  teardown(function() os.execute("rm -rf '" .. dir .. "'") end)

  it("runs a second of virtual time and tears down without findings", function()
    assert.is_true(ok, out .. err)
    local shown, seconds = out:match("^(%d+) pictures in ([%d.]+) s")
    assert.are.equal(30, tonumber(shown), out)
    assert.is_true(math.abs(tonumber(seconds) - 1) < 0.1, out)
    assert.is_nil(out:find("finding:", 1, true), out)
  end)

  it("shows the colour bars full screen at 1920x1080", function()
    if not tools then return pending("needs ffmpeg and ffprobe") end
    assert.is_true(ok, out .. err)
    local png = dir .. "/screen.png"
    assert.are.equal("1920,1080", sh("ffprobe -v error -show_entries stream=width,height -of csv=p=0 '" .. png ..
                                     "'"):match("[^\n]+"))
    -- one row near the bottom, sampled at the middle of each eighth
    local row = sh(string.format("ffmpeg -v error -i '%s' -vf crop=1920:1:0:1000 -f rawvideo -pix_fmt rgb24 -", png))
    assert.are.equal(1920 * 3, #row)
    local seen, bars = {}, {}
    for i = 0, 7 do
      local at = (i * 240 + 120) * 3
      local r, g, b = row:byte(at + 1, at + 3)
      bars[i + 1] = { r, g, b }
      seen[string.format("%d,%d,%d", r // 32, g // 32, b // 32)] = true
    end
    local distinct = 0
    for _ in pairs(seen) do distinct = distinct + 1 end
    assert.is_true(distinct >= 6, "only " .. distinct .. " colours across the screen")
    -- yellow has little blue, blue little red and green
    local yellow, blue = bars[2], bars[7]
    assert.is_true(yellow[3] < 64 and yellow[1] > 128 and yellow[2] > 128, table.concat(yellow, ","))
    assert.is_true(blue[3] > 128 and blue[1] < 64 and blue[2] < 64, table.concat(blue, ","))
  end)
end)
