-- Helpers of the RTSP tests: a source that plays back a recorded Annex B
-- stream at its own pace, FFmpeg clients run in the background, and a wait
-- for a TCP port.
local socket = require "socket"

local M = {}

-- FFmpeg's tools run without the sanitizer runtimes a sanitized test run
-- preloads into its own interpreter.
M.ffmpeg, M.ffprobe = "env -u LD_PRELOAD ffmpeg", "env -u LD_PRELOAD ffprobe"

M.sh = require("tests.lua.support").sh

-- Whether an Annex B NAL unit (header at data[i]) begins a new picture after
-- one that already has slices.
local function starts(codec, data, i)
  if codec == "H265" then
    local t = (data:byte(i) >> 1) & 0x3F
    if t < 32 then return data:byte(i + 2) & 0x80 ~= 0 end  -- first_slice_segment_in_pic_flag
    return (t >= 32 and t <= 35) or t == 39
  end
  local t = data:byte(i) & 0x1F
  if t == 1 or t == 5 then return data:byte(i + 1) & 0x80 ~= 0 end  -- first_mb_in_slice == 0
  return t == 6 or t == 7 or t == 8 or t == 9
end

local function vcl(codec, data, i)
  if codec == "H265" then return (data:byte(i) >> 1) & 0x3F < 32 end
  local t = data:byte(i) & 0x1F
  return t >= 1 and t <= 5
end

local function key(codec, data, i)
  if codec == "H265" then
    local t = (data:byte(i) >> 1) & 0x3F
    return t >= 16 and t <= 21
  end
  return data:byte(i) & 0x1F == 5
end

-- Cuts an Annex B stream into pictures shaped as GetStream gives them:
-- { data = bytes, packs = { {offset, length}, ... }, keyframe = bool }.
function M.pictures(codec, annexb)
  local starts_at = {}
  local i = 1
  while true do
    local a, b = annexb:find("\0\0\1", i, true)
    if not a then break end
    if a > 1 and annexb:byte(a - 1) == 0 then a = a - 1 end
    starts_at[#starts_at + 1] = { a, b + 1 }
    i = b + 1
  end
  local pics, cur = {}, nil
  for n, s in ipairs(starts_at) do
    local e = (starts_at[n + 1] and starts_at[n + 1][1] or #annexb + 1) - 1
    if not cur or (cur.slices and starts(codec, annexb, s[2])) then
      cur = { parts = {}, packs = {}, size = 0, keyframe = false }
      pics[#pics + 1] = cur
    end
    local nal = annexb:sub(s[1], e)
    cur.parts[#cur.parts + 1] = nal
    cur.packs[#cur.packs + 1] = { offset = cur.size + 1, length = #nal }
    cur.size = cur.size + #nal
    if vcl(codec, annexb, s[2]) then cur.slices = true end
    if key(codec, annexb, s[2]) then cur.keyframe = true end
  end
  for _, p in ipairs(pics) do p.data, p.parts = table.concat(p.parts), nil end
  return pics
end

-- A source with GetStream(timeout) that hands out the pictures one frame
-- period apart in real time, looping, with time stamps that keep growing.
function M.source(pictures, fps)
  local period = 1 / (fps or 30)
  local n, start = 0, socket.gettime()
  return {
    GetStream = function(_, _)
      if socket.gettime() < start + n * period then return nil, "no picture yet" end
      local p = pictures[n % #pictures + 1]
      local pts = math.floor(n * period * 1e6)
      n = n + 1
      local packs = {}
      for k, pk in ipairs(p.packs) do
        packs[k] = { type = "?", offset = pk.offset, length = pk.length, pts = pts, frameEnd = k == #p.packs }
      end
      return p.data, { pts = pts, keyframe = p.keyframe, packs = packs }
    end,
  }
end

-- Encodes seconds of a test pattern with FFmpeg's own encoders (x264 or
-- x265, no B pictures, a keyframe every 30), and returns the Annex B bytes;
-- nil when FFmpeg cannot.
function M.encode(codec, width, height, seconds)
  local path = os.tmpname()
  local enc = codec == "H265" and "libx265 -x265-params keyint=30:bframes=0:log-level=error -f hevc"
                               or "libx264 -x264-params keyint=30:bframes=0 -f h264"
  local ok = os.execute(string.format(
    "%s -v error -y -f lavfi -i testsrc=size=%dx%d:rate=30 -t %d -pix_fmt yuv420p -c:v %s '%s' </dev/null",
    M.ffmpeg, width, height, seconds, enc, path))
  local f = ok and io.open(path, "rb")
  local data = f and f:read("a")
  if f then f:close() end
  os.remove(path)
  return data ~= "" and data or nil
end

-- Runs a shell command in the background; returns a handle whose pid is
-- known, whose exit status and output can be read when it is done.
function M.spawn(cmd)
  local b = os.tmpname()
  os.execute(string.format("( %s >%s.out 2>&1 & echo $! >%s.p; mv %s.p %s.pid; wait $!; echo $? >%s.r; mv %s.r %s.rc ) " ..
                           ">/dev/null 2>&1 </dev/null &", cmd, b, b, b, b, b, b, b))
  local h = { base = b }
  for _ = 1, 500 do
    local f = io.open(b .. ".pid")
    if f then
      h.pid = tonumber(f:read("a"))
      f:close()
      return h
    end
    socket.sleep(0.01)
  end
  error("could not start: " .. cmd)
end

-- The exit status of a spawned command, or nil while it runs.
function M.status(h)
  local f = io.open(h.base .. ".rc")
  if f then
    local rc = tonumber(f:read("a"))
    f:close()
    return rc
  end
end

function M.kill(h)
  os.execute("kill " .. h.pid .. " 2>/dev/null")
end

function M.output(h)
  local f = io.open(h.base .. ".out")
  local s = f and f:read("a") or ""
  if f then f:close() end
  return s
end

function M.cleanup(h)
  for _, ext in ipairs({ "", ".pid", ".out", ".rc" }) do os.remove(h.base .. ext) end
end

-- Waits until a TCP port on 127.0.0.1 accepts connections.
function M.waitPort(port, seconds)
  local stop = socket.gettime() + seconds
  while socket.gettime() < stop do
    local c = socket.connect("127.0.0.1", port)
    if c then
      c:close()
      return true
    end
    socket.sleep(0.1)
  end
  return false
end

-- A free TCP port on the loopback address.
function M.freePort()
  local s = assert(socket.bind("127.0.0.1", 0))
  local _, port = s:getsockname()
  s:close()
  return tonumber(port)
end

-- Serves a recorded H.264 stream at /h264 and an H.265 one at /h265 (320x240,
-- two seconds each, looping) on a port for a number of seconds.
function M.serveRecordings(port, seconds)
  local rtsp = require "tessel.rtsp"
  local server = assert(rtsp.server{ host = "127.0.0.1", port = port })
  for _, codec in ipairs({ "H264", "H265" }) do
    local pictures = M.pictures(codec, assert(M.encode(codec, 320, 240, 2), "FFmpeg could not encode " .. codec))
    server:add("/" .. codec:lower(), M.source(pictures), codec)
  end
  assert(server:run(seconds))
  server:close()
end

return M
