-- The CPU time tessel.rtsp spends serving 1080p30 H.264 at 4 Mbit/s, as a
-- share of one core, with 1 and 8 clients over TCP (interleaved) and UDP.
--
--   LUA_CPATH='build/lua/?.so;;' LUA_PATH='lua/?.lua;;' lua5.3 bench/rtsp_bench.lua [seconds]
--
-- The server runs here on a synthetic stream: pictures of the stream's sizes
-- (a 62 KB IDR picture behind its parameter sets every 30, 15.5 KB P
-- pictures between), handed out at 30 per second in real time by a source
-- without a descriptor, so the server also polls it every 5 ms. The clients
-- run in another process (this script with --clients), which sets up and
-- plays each session and reads what comes. The share is this process's CPU
-- time (os.clock) over the wall time, after a second of warming up; it
-- includes packetising, RTP and interleaving, the sends, and the waits of the
-- loop. The target is 10% of a core at 8 clients.
local socket = require "socket"

-- Client side: N sessions of one transport, read until the time is up.
if arg[1] == "--clients" then
  local port, n, transport, seconds = tonumber(arg[2]), tonumber(arg[3]), arg[4], tonumber(arg[5])
  local url = string.format("rtsp://127.0.0.1:%d/main", port)
  local readers, bytes = {}, 0
  local function ask(c, cseq, method, u, extra)
    assert(c:send(string.format("%s %s RTSP/1.0\r\nCSeq: %d\r\n%s\r\n", method, u, cseq, extra or "")))
    local head = {}
    repeat
      local line = assert(c:receive("*l"))
      head[#head + 1] = line
    until line == ""
    local all = table.concat(head, "\n")
    local len = tonumber(all:match("Content%-Length: (%d+)"))
    if len then c:receive(len) end
    return all
  end
  for _ = 1, n do
    local c = assert(socket.connect("127.0.0.1", port))
    c:settimeout(10)
    local transportSpec = "RTP/AVP/TCP;unicast;interleaved=0-1"
    if transport == "udp" then
      local rtp, rtcp = socket.udp(), socket.udp()
      assert(rtp:setsockname("127.0.0.1", 0))
      local p = tonumber((select(2, rtp:getsockname())))
      assert(rtcp:setsockname("127.0.0.1", p + 1))
      rtp:settimeout(0)
      rtcp:settimeout(0)
      readers[#readers + 1], readers[#readers + 2] = rtp, rtcp
      transportSpec = string.format("RTP/AVP;unicast;client_port=%d-%d", p, p + 1)
    end
    local setup = ask(c, 1, "SETUP", url .. "/trackID=0", "Transport: " .. transportSpec .. "\r\n")
    local session = assert(setup:match("Session: ([^;\r\n]+)"), setup)
    ask(c, 2, "PLAY", url, "Session: " .. session .. "\r\n")
    c:settimeout(0)
    readers[#readers + 1] = c
  end
  io.stdout:write("playing\n")
  io.stdout:flush()
  local stop = socket.gettime() + seconds
  while socket.gettime() < stop do
    local ready = socket.select(readers, nil, 0.1)
    for _, s in ipairs(ready) do
      if s.receivefrom then
        local d = s:receive()
        while d do
          bytes = bytes + #d
          d = s:receive()
        end
      else
        local d, _, partial = s:receive(1 << 20)
        bytes = bytes + #(d or partial or "")
      end
    end
  end
  io.stdout:write(bytes, "\n")
  return
end

pcall(require, "tessel")       -- SYS.Poll when the module is there, as a camera script has it
local rtsp = require "tessel.rtsp"
local seconds = tonumber(arg[1]) or 5

local function nal(header, size)
  local pattern = header .. string.rep("\x5A\xA5\x3C\xC3\x96\x69\x0F\xF0", 8)
  return string.rep(pattern, size // #pattern + 1):sub(1, size)
end

local function picture(n)
  local pts = n * 1000000 // 30
  local nals = n % 30 == 0
               and { "\x67\x4D\x40\x28\x95\xA0\x1E\x00\x89\xF9\x70\x11", "\x68\xEE\x3C\x80", nal("\x65\x88", 62000) }
               or { nal("\x41\x9A", 15500) }
  local parts, packs, at = {}, {}, 1
  for k, v in ipairs(nals) do
    parts[k] = "\0\0\0\1" .. v
    packs[k] = { type = "?", offset = at, length = 4 + #v, pts = pts, frameEnd = k == #nals }
    at = at + 4 + #v
  end
  return table.concat(parts), { pts = pts, keyframe = n % 30 == 0, packs = packs }
end

local pictures = {}
for n = 0, 29 do pictures[n + 1] = { picture(n) } end

local function source()
  local n, start = 0, socket.gettime()
  return {
    GetStream = function()
      if socket.gettime() < start + n / 30 then return nil, "not yet" end
      local p = pictures[n % 30 + 1]
      local info = p[2]
      local pts = n * 1000000 // 30
      info.pts = pts
      for _, pk in ipairs(info.packs) do pk.pts = pts end
      n = n + 1
      return p[1], info
    end,
  }
end

local function measure(clients, transport)
  local server = assert(rtsp.server{ host = "127.0.0.1", port = 0 })
  server:add("/main", source(), "H264")
  local child
  if clients > 0 then
    child = assert(io.popen(string.format("%s %s --clients %d %d %s %d", arg[-1] or "lua5.3", arg[0], server.port,
                                          clients, transport, seconds + 3)))
  end
  -- Serve while the clients set up (the child reads its own answers), then warm up.
  local ready = clients == 0
  local warm = socket.gettime() + 10
  while socket.gettime() < warm do
    server:step(5)
    if not ready then
      local playing = 0
      for _, c in ipairs(server:clients()) do
        for _, s in ipairs(c.sessions) do
          if s.playing then playing = playing + 1 end
        end
      end
      if playing == clients then ready, warm = true, socket.gettime() + 1 end
    end
  end
  assert(ready, "the clients did not start playing")
  local cpu0, wall0 = os.clock(), socket.gettime()
  while socket.gettime() < wall0 + seconds do server:step(5) end
  local share = (os.clock() - cpu0) / (socket.gettime() - wall0)
  local _, dropped = server:clients()
  local got = 0
  if child then
    local stop = socket.gettime() + seconds + 10
    local out = ""
    while socket.gettime() < stop and not out:find("\n%d+\n") do
      server:step(5)
      -- the child is done writing once it has printed its byte count
      out = out .. (child:read("l") or "") .. "\n"
    end
    got = tonumber(out:match("(%d+)\n$")) or 0
    child:close()
  end
  server:close()
  return share, got, dropped
end

print(string.format("tessel.rtsp, 1080p30 H.264 at 4 Mbit/s (%.0f kbit/s synthetic), %d s per row",
                    (62000 + 29 * 15500 + 16) * 8 / 1000, seconds))
print("clients  transport  CPU (share of one core)  received per client")
local status = 0
for _, case in ipairs({ { 0, "-" }, { 1, "tcp" }, { 8, "tcp" }, { 1, "udp" }, { 8, "udp" } }) do
  local share, got, dropped = measure(case[1], case[2] == "-" and "tcp" or case[2])
  local per = case[1] > 0 and string.format("%.1f MB", got / 1e6 / case[1]) or "-"
  print(string.format("%7d  %-9s  %22.1f%%  %s%s", case[1], case[2], share * 100, per,
                      dropped > 0 and string.format(" (%d dropped)", dropped) or ""))
  if case[1] == 8 and share > 0.10 then status = 1 end
end
os.exit(status)
