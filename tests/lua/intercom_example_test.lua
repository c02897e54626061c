-- examples/intercom.lua judged by what it writes: the WAV files by sox
-- (rate, channels, duration, the tone's frequency and level after each
-- stage) and ffprobe, the G.711 file by its frames.
local support = require "tests.lua.support"

local function shell(cmd)
  local p = assert(io.popen(cmd .. " 2>&1"))
  local s = p:read("a")
  p:close()
  return s
end

-- Rate, channels, duration and, from sox's statistics, the tone's rough
-- frequency and peak level in dBFS.
local function judge(path)
  local function info(option) return tonumber(shell("soxi " .. option .. " " .. path):match("[%d.]+")) end
  local stat = shell("sox " .. path .. " -n stat")
  return { rate = info("-r"), channels = info("-c"), duration = info("-D"),
           frequency = tonumber(stat:match("Rough%s+frequency:%s+(%-?%d+)")),
           level = 20 * math.log(tonumber(stat:match("Maximum amplitude:%s+([%d.]+)")), 10) }
end

describe("examples/intercom.lua", function()
  local dir = os.tmpname()
  os.remove(dir)
  os.execute("mkdir -p " .. dir)
  local out, err, ok = support.run(string.format("arg = { %q }\ndofile('examples/intercom.lua')", dir))

  teardown(function() os.execute("rm -rf " .. dir) end)

  it("runs to its end without findings", function()
    assert.is_true(ok, err)
    assert.matches("wrote", out)
    assert.not_matches("finding", out)
  end)

  it("keeps the tone through every stage: 8 kHz mono, 1 kHz at -12 dBFS", function()
    for name, seconds in pairs({ loop = 2, capture = 5, decoded = 5 }) do
      local w = judge(dir .. "/" .. name .. ".wav")
      assert.are.equal(8000, w.rate, name)
      assert.are.equal(1, w.channels, name)
      assert.is_true(math.abs(w.duration - seconds) <= 0.05, name .. " lasts " .. w.duration)
      assert.is_true(math.abs(w.frequency - 1000) <= 50, name .. " at " .. w.frequency .. " Hz")
      -- G.711 quantises: the decoded level within half a decibel
      assert.is_true(math.abs(w.level + 12) <= 0.5, name .. " at " .. w.level .. " dBFS")
    end
  end)

  it("writes G.711 frames of the platform's shape, which ffmpeg decodes as A-law", function()
    local g711 = assert(io.open(dir .. "/intercom.g711", "rb")):read("a")
    assert.are.equal(125 * (4 + 320), #g711)
    assert.are.equal("\0\1\160\0", g711:sub(1, 4))  -- the voice frame header: 160 words
    local raw = {}
    for at = 1, #g711, 324 do raw[#raw + 1] = g711:sub(at + 4, at + 323) end
    local f = assert(io.open(dir .. "/payload.al", "wb"))
    f:write(table.concat(raw))
    f:close()
    local probe = shell("ffprobe -v error -f alaw -ar 8000 -ac 1 -show_entries stream=codec_name,sample_rate,channels "
                        .. "-of csv=p=0 " .. dir .. "/payload.al")
    assert.matches("pcm_alaw,8000,1", probe, 1, true)
    shell("sox -t al -r 8000 -c 1 " .. dir .. "/payload.al " .. dir .. "/payload.wav")
    local w = judge(dir .. "/payload.wav")
    assert.is_true(math.abs(w.duration - 5) <= 0.01 and math.abs(w.frequency - 1000) <= 50)
  end)
end)
