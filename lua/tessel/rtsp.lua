--- A small RTSP 1.0 server for encoder channels, in Lua on LuaSocket.
--
-- It serves H.264 and H.265 channels (anything with `GetStream`, such as a
-- `VENCChannel`) as RTP over TCP (interleaved in the RTSP connection) or UDP,
-- packetised as single NAL unit packets and fragmentation units, with an SDP
-- that carries the parameter sets learnt from the stream. It also answers
-- plain HTTP GET requests on the same port for paths given to `http`.
--
-- Everything runs in the script's own loop: `step` waits on the encoders and
-- the sockets together (through `Tessel.SYS.Poll` when the module is loaded,
-- `socket.select` otherwise) and serves what is ready; nothing blocks.
--
--     local rtsp = require "tessel.rtsp"
--     local server = assert(rtsp.server{ port = 8554 })
--     server:add("/main", venc)            -- rtsp://host:8554/main
--     while true do server:step(100) end
--
-- Pictures go to every playing client as they come from the encoder, so the
-- clients get them at the encoder's pace. In the simulator's virtual time the
-- encoders run as fast as the machine allows: the RTP time stamps stay right,
-- but the pictures arrive faster than real time, and a client that reads at
-- the pictures' own pace falls behind until its buffer limit drops it. Serve
-- clients in real time (the simulator's default clock).
-- @module tessel.rtsp
local socket = require "socket"
local mime = require "mime"

local M = {}

local H264, H265 = "H264", "H265"
local PT = 96                 -- dynamic payload type of every stream
local SR_INTERVAL = 5         -- seconds between RTCP sender reports
local DESCRIBE_WAIT = 10      -- seconds a DESCRIBE waits for the parameter sets
local MAX_REQUEST = 16384     -- bytes of an RTSP or HTTP request head
local NTP_OFFSET = 2208988800 -- seconds from 1900 to 1970

local char, byte, sub, spack = string.char, string.byte, string.sub, string.pack
local concat = table.concat

-- Session ids, SSRCs, first sequence numbers and time stamps: a generator of
-- the module's own, so that the script's math.random is left alone.
local seed = math.floor(socket.gettime() * 1e6) ~ math.floor(os.clock() * 1e9)
local function random32()
  seed = (seed * 6364136223846793005 + 1442695040888963407) & 0xFFFFFFFFFFFFFFFF
  return (seed >> 33) & 0x7FFFFFFF
end

-- -------------------------------------------------------------------------
-- Packetising
-- -------------------------------------------------------------------------

--- The RTP time stamp (90 kHz, modulo 2^32) of a time in microseconds.
-- @int pts microseconds
-- @treturn int
function M.timestamp(pts)
  return (pts * 9 // 100) & 0xFFFFFFFF
end

-- NAL unit type of the header at data[i].
local function nalType(codec, data, i)
  local b = byte(data, i)
  if codec == H265 then return (b >> 1) & 0x3F end
  return b & 0x1F
end

local PARAMETER_SETS = {
  [H264] = { [7] = "sps", [8] = "pps" },
  [H265] = { [32] = "vps", [33] = "sps", [34] = "pps" },
}

local function isKey(codec, t)
  if codec == H265 then return t >= 16 and t <= 21 end
  return t == 5
end

--- Cuts one picture from `GetStream` into RTP payloads.
-- Each pack holds one NAL unit behind its Annex B start code (3 or 4 bytes),
-- which is dropped. A NAL unit that fits in `mtu` bytes is one payload; a
-- longer one is cut into fragmentation units (FU-A for H.264, FU for H.265)
-- of at most `mtu` bytes each.
-- @string codec "H264" or "H265"
-- @string data the picture's bytes
-- @tab info the picture's description (`packs`, `pts`, `keyframe`)
-- @int[opt=1400] mtu the largest payload
-- @treturn table `n` payloads, payload k being `prefix[k] .. chunk[k]`;
-- `marker` (whether the last payload ends the picture), `timestamp` (90 kHz),
-- `keyframe`, and `params` (`sps`, `pps`, `vps` NAL units found, or nil)
function M.packetise(codec, data, info, mtu)
  mtu = mtu or 1400
  local h265 = codec == H265
  local headerSize = h265 and 2 or 1
  local prefix, chunk, n = {}, {}, 0
  local params, key = nil, info.keyframe and true or false
  local sets = PARAMETER_SETS[codec] or PARAMETER_SETS[H264]
  local packs = info.packs
  for p = 1, #packs do
    local pack = packs[p]
    local i, j = pack.offset, pack.offset + pack.length - 1
    if byte(data, i) == 0 and byte(data, i + 1) == 0 then
      if byte(data, i + 2) == 1 then i = i + 3
      elseif byte(data, i + 2) == 0 and byte(data, i + 3) == 1 then i = i + 4 end
    end
    if j - i + 1 > headerSize then
      local t = nalType(codec, data, i)
      local set = sets[t]
      if set then
        params = params or {}
        params[set] = sub(data, i, j)
      end
      if isKey(codec, t) then key = true end
      if j - i + 1 <= mtu then
        n = n + 1
        prefix[n], chunk[n] = "", sub(data, i, j)
      else
        local first, last, head
        if h265 then
          local b0, b1 = byte(data, i, i + 1)
          head = char((b0 & 0x81) | (49 << 1), b1)
        else
          head = char((byte(data, i) & 0xE0) | 28)
        end
        local room = mtu - headerSize - 1
        first, last = i + headerSize, j
        local at = first
        while at <= last do
          local e = at + room - 1
          if e > last then e = last end
          local fu = t
          if at == first then fu = fu | 0x80 end
          if e == last then fu = fu | 0x40 end
          n = n + 1
          prefix[n], chunk[n] = head .. char(fu), sub(data, at, e)
          at = e + 1
        end
      end
    end
  end
  local lastPack = packs[#packs]
  return {
    n = n, prefix = prefix, chunk = chunk,
    marker = n > 0 and (lastPack == nil or lastPack.frameEnd ~= false),
    timestamp = M.timestamp(info.pts or (lastPack and lastPack.pts) or 0),
    keyframe = key, params = params,
  }
end

--- The 12-byte RTP header.
-- @bool marker
-- @int pt payload type
-- @int seq sequence number (taken modulo 2^16)
-- @int ts time stamp (taken modulo 2^32)
-- @int ssrc
-- @treturn string
function M.rtpHeader(marker, pt, seq, ts, ssrc)
  return spack(">BBI2I4I4", 0x80, (marker and 0x80 or 0) | pt, seq & 0xFFFF, ts & 0xFFFFFFFF, ssrc)
end

local function b64(s) return (mime.b64(s)) end

--- The SDP of one stream.
-- @tab t `codec`, `params` (`sps`, `pps`, `vps` NAL units without start
-- codes; missing ones are left out), `address` (the server's, for the origin
-- line), `name`, `id` (session id and version), `control` (the track's)
-- @treturn string
function M.sdp(t)
  local p = t.params or {}
  local fmtp
  if t.codec == H265 then
    local parts = {}
    for _, k in ipairs({ "vps", "sps", "pps" }) do
      if p[k] then parts[#parts + 1] = "sprop-" .. k .. "=" .. b64(p[k]) end
    end
    fmtp = concat(parts, ";")
  else
    local parts = { "packetization-mode=1" }
    if p.sps and #p.sps >= 4 then
      parts[#parts + 1] = string.format("profile-level-id=%02X%02X%02X", byte(p.sps, 2, 4))
    end
    if p.sps and p.pps then parts[#parts + 1] = "sprop-parameter-sets=" .. b64(p.sps) .. "," .. b64(p.pps) end
    fmtp = concat(parts, ";")
  end
  local lines = {
    "v=0",
    string.format("o=- %d %d IN IP4 %s", t.id or 0, t.id or 0, t.address or "0.0.0.0"),
    "s=" .. (t.name or "tessel"),
    "c=IN IP4 0.0.0.0",
    "t=0 0",
    "a=control:*",
    "a=range:npt=0-",
    "m=video 0 RTP/AVP " .. PT,
    string.format("a=rtpmap:%d %s/90000", PT, t.codec == H265 and "H265" or "H264"),
  }
  if fmtp ~= "" then lines[#lines + 1] = string.format("a=fmtp:%d %s", PT, fmtp) end
  lines[#lines + 1] = "a=control:" .. (t.control or "trackID=0")
  return concat(lines, "\r\n") .. "\r\n"
end

-- An RTCP sender report with the source's CNAME, as one compound packet.
local function senderReport(ssrc, now, ts, packets, octets)
  local sec = math.floor(now)
  local frac = math.floor((now - sec) * 4294967296) & 0xFFFFFFFF
  local cname = "tessel"
  local sdesLen = 4 + 2 + #cname + 1
  local pad = (4 - sdesLen % 4) % 4
  return spack(">BBI2I4I4I4I4I4I4", 0x80, 200, 6, ssrc, (sec + NTP_OFFSET) & 0xFFFFFFFF, frac, ts & 0xFFFFFFFF,
               packets & 0xFFFFFFFF, octets & 0xFFFFFFFF) ..
         spack(">BBI2I4BB", 0x81, 202, (4 + sdesLen + pad) // 4 - 1, ssrc, 1, #cname) .. cname ..
         string.rep("\0", 1 + pad)
end

-- -------------------------------------------------------------------------
-- The server
-- -------------------------------------------------------------------------

local REASONS = {
  [200] = "OK", [400] = "Bad Request", [404] = "Not Found", [405] = "Method Not Allowed",
  [454] = "Session Not Found", [455] = "Method Not Valid in This State",
  [459] = "Aggregate Operation Not Allowed", [461] = "Unsupported Transport", [500] = "Internal Server Error",
  [501] = "Not Implemented", [503] = "Service Unavailable", [505] = "RTSP Version Not Supported",
}
local PUBLIC = "OPTIONS, DESCRIBE, SETUP, PLAY, PAUSE, TEARDOWN, GET_PARAMETER"

local Server = {}
Server.__index = Server

-- Sockets go into SYS.Poll (GetFd) and socket.select (getfd) through these.
local Handle = {}
Handle.__index = Handle
function Handle:GetFd() return self.sock:getfd() end
function Handle:getfd() return self.sock:getfd() end
function Handle.dirty() return false end
local function handle(kind, sock, owner) return setmetatable({ kind = kind, sock = sock, owner = owner }, Handle) end

local function drainUdp(sock)
  for _ = 1, 64 do
    if not sock:receivefrom() then return end
  end
end

local function sessionOf(conn, req)
  local id = req.headers.session and req.headers.session:match("^[^;%s]+")
  return id and conn.sessions[id], id
end

local function stopSession(session)
  session.playing = false
  session.stream.sessions[session] = nil
end

local function defaultPoll()
  local sys = rawget(_G, "Tessel") and Tessel.SYS
  if sys and sys.Poll then return sys.Poll end
  return function(list, ms)
    local ready, _, err = socket.select(list, nil, ms >= 0 and ms / 1000 or nil)
    if err and err ~= "timeout" then return nil, err end
    local out = {}
    for _, h in ipairs(ready) do out[#out + 1] = h end
    return out
  end
end

--- Starts a server listening on a TCP port.
-- @tab[opt] opts `port` (default 8554; 0 picks a free one, see `server.port`),
-- `host` (address to listen on, default "*"), `mtu` (largest RTP payload,
-- default 1400), `maxBuffer` (bytes waiting for one TCP client before it is
-- dropped, default 4 MiB), `rtpPort` (first of the UDP pair for RTP and RTCP;
-- default: a free even port chosen at the first UDP client), `log` (a
-- function given one line per event), `poll` (replaces the wait on
-- descriptors: `poll(objects, ms)` returns the ready objects)
-- @return the server, or nil and a message
function M.server(opts)
  opts = opts or {}
  local listener, err = socket.bind(opts.host or "*", opts.port or 8554, 32)
  if not listener then return nil, string.format("rtsp: cannot listen on port %s: %s", opts.port or 8554, err) end
  listener:settimeout(0)
  local _, port = listener:getsockname()
  local self = setmetatable({
    port = tonumber(port),
    mtu = opts.mtu or 1400,
    maxBuffer = opts.maxBuffer or 4 * 1024 * 1024,
    rtpPort = opts.rtpPort,
    log = opts.log or function() end,
    poll = opts.poll or defaultPoll(),
    listener = listener,
    streams = {},        -- path -> stream
    sources = {},        -- source object -> stream
    handlers = {},       -- HTTP path -> function
    conns = {},          -- connection -> true
    nextId = random32() | 0x10000000,
    dropped = 0,
  }, Server)
  self.listenHandle = handle("listen", listener)
  self.dirty = true
  return self
end

local function pathOf(url)
  local path = url:match("^%a+://[^/]*(/.*)$") or url
  path = path:gsub("%?.*$", "")
  if #path > 1 then path = path:gsub("/+$", "") end
  return path
end

--- Serves a channel at a path.
-- @string path such as "/main" (rtsp://host:port/main)
-- @param source a `VENCChannel`, or any object with `GetStream(timeout)`
-- answering `data, info` (one with `GetFd` is waited on, one without is asked
-- at every step)
-- @string[opt] codec "H264" or "H265"; by default the channel's
-- `GetAttr().encoding.type`
function Server:add(path, source, codec)
  if not codec and source.GetAttr then
    local attr = source:GetAttr()
    codec = attr and attr.encoding and attr.encoding.type
  end
  codec = codec or H264
  if codec ~= H264 and codec ~= H265 then error("rtsp: " .. path .. ": cannot serve " .. tostring(codec), 2) end
  local stream = { path = pathOf(path), source = source, codec = codec, params = {}, version = 0,
                   sessions = {}, polled = source.GetFd ~= nil }
  self.streams[stream.path] = stream
  self.sources[source] = stream
  self.dirty = true
  return stream
end

--- Answers HTTP GET requests for a path (on the same port).
-- @string path such as "/snapshot.jpg"
-- @func fn called with the request (`method`, `url`, `headers`) for each
-- request; returns the body and its content type, or nil and a message
-- (answered with 503)
function Server:http(path, fn)
  self.handlers[path] = fn
end

--- The objects to wait on: the listening and client sockets (with `GetFd`)
-- and the sources that have `GetFd`. Add them to a poll of the script's own
-- and hand what is ready to `serve`.
-- @treturn table
function Server:pollables()
  if not self.dirty then return self.list end
  local list = { self.listenHandle }
  if self.rtpHandle then
    list[#list + 1] = self.rtpHandle
    list[#list + 1] = self.rtcpHandle
  end
  for conn in pairs(self.conns) do list[#list + 1] = conn.handle end
  for _, stream in pairs(self.streams) do
    if stream.polled then list[#list + 1] = stream.source end
  end
  self.list, self.dirty = list, false
  return list
end

-- Whether the next wait must be short: output waiting for room, sources
-- without a descriptor, DESCRIBEs waiting for parameter sets.
function Server:busy()
  for conn in pairs(self.conns) do
    if conn.pending > 0 or conn.waiting then return true end
  end
  for _, stream in pairs(self.streams) do
    if not stream.polled then return true end
  end
  return false
end

--- Waits up to `timeoutMs` for sources or sockets and serves what is ready.
-- @int[opt=0] timeoutMs
-- @return true, or nil and the wait's message
function Server:step(timeoutMs)
  local ms = timeoutMs or 0
  if ms < 0 or ms > 5 then
    if self:busy() then ms = 5 end
  end
  local ready, err = self.poll(self:pollables(), ms)
  if not ready then return nil, err end
  return self:serve(ready)
end

--- Runs `step` for a number of seconds (forever when nil).
-- @number[opt] seconds
function Server:run(seconds)
  local stop = seconds and socket.gettime() + seconds
  while not stop or socket.gettime() < stop do
    local ok, err = self:step(100)
    if not ok then return nil, err end
  end
  return true
end

--- Serves the objects found ready among `pollables()`, then sends what waits.
-- @tab ready
function Server:serve(ready)
  for _, obj in ipairs(ready) do
    local stream = self.sources[obj]
    if stream then
      self:pull(stream)
    elseif getmetatable(obj) == Handle then
      if obj.kind == "listen" then self:accept()
      elseif obj.kind == "conn" then self:receive(obj.owner)
      else drainUdp(obj.sock) end
    end
  end
  for _, stream in pairs(self.streams) do
    if not stream.polled then self:drain(stream) end
  end
  local now = socket.gettime()
  for conn in pairs(self.conns) do
    if conn.waiting then self:retryDescribe(conn, now) end
    if conn.pending > 0 then self:flush(conn) end
  end
  return true
end

--- Closes every connection and socket.
function Server:close()
  for conn in pairs(self.conns) do self:drop(conn) end
  self.listener:close()
  if self.rtp then self.rtp:close(); self.rtcp:close() end
end

--- The clients: one table per RTSP or HTTP connection with `peer`, `port`,
-- `buffered` (bytes waiting) and `sessions` (each with `path`, `transport`
-- "tcp" or "udp", `playing`, `packets`).
-- @int dropped how many clients were dropped for a full buffer (second result)
function Server:clients()
  local out = {}
  for conn in pairs(self.conns) do
    local sessions = {}
    for _, s in pairs(conn.sessions) do
      sessions[#sessions + 1] = { path = s.stream.path, transport = s.udp and "udp" or "tcp",
                                  playing = s.playing, packets = s.packets }
    end
    out[#out + 1] = { peer = conn.peer, port = conn.peerPort, buffered = conn.pending, sessions = sessions }
  end
  return out, self.dropped
end

-- -------------------------------------------------------------------------
-- Connections
-- -------------------------------------------------------------------------

function Server:accept()
  for _ = 1, 16 do
    local sock = self.listener:accept()
    if not sock then return end
    sock:settimeout(0)
    sock:setoption("tcp-nodelay", true)
    local peer, port = sock:getpeername()
    local conn = { sock = sock, inbuf = "", out = {}, head = 1, off = 1, pending = 0, sessions = {},
                   peer = peer, peerPort = tonumber(port) }
    conn.handle = handle("conn", sock, conn)
    self.conns[conn] = true
    self.dirty = true
    self.log(string.format("rtsp: %s:%s connected", peer, port))
  end
end

function Server:drop(conn, why)
  if not self.conns[conn] then return end
  for _, s in pairs(conn.sessions) do stopSession(s) end
  conn.sessions = {}
  conn.sock:close()
  self.conns[conn] = nil
  self.dirty = true
  self.log(string.format("rtsp: %s:%s %s", conn.peer, conn.peerPort, why or "closed"))
end

-- Queues bytes for a connection and sends what the socket takes now.
function Server:queue(conn, s)
  local out = conn.out
  out[#out + 1] = s
  conn.pending = conn.pending + #s
  if conn.pending > self.maxBuffer then
    self.dropped = self.dropped + 1
    return self:drop(conn, string.format("dropped: %d bytes waiting", conn.pending))
  end
  self:flush(conn)
end

function Server:flush(conn)
  local out = conn.out
  while conn.head <= #out do
    local s = out[conn.head]
    local last, err, partial = conn.sock:send(s, conn.off)
    local sent = last or partial or conn.off - 1
    conn.pending = conn.pending - (sent - conn.off + 1)
    if sent >= #s then
      out[conn.head] = nil
      conn.head, conn.off = conn.head + 1, 1
    else
      conn.off = math.tointeger(sent + 1)
      if err and err ~= "timeout" then return self:drop(conn, err) end
      return
    end
  end
  conn.out, conn.head, conn.off, conn.pending = {}, 1, 1, 0
  if conn.closeWhenSent then self:drop(conn, "served") end
end

function Server:receive(conn)
  local data, err, partial = conn.sock:receive(65536)
  data = data or partial
  if data and #data > 0 then conn.inbuf = conn.inbuf .. data end
  self:parse(conn)
  if err == "closed" then self:drop(conn) end
end


-- Takes the complete requests (and interleaved packets from the client,
-- which are read and left) from the connection's input.
function Server:parse(conn)
  while self.conns[conn] and not conn.waiting and not conn.closeWhenSent do
    local buf = conn.inbuf
    if #buf == 0 then return end
    if byte(buf, 1) == 36 then                          -- '$': RTCP from the client
      if #buf < 4 then return end
      local len = string.unpack(">I2", buf, 3)
      if #buf < 4 + len then return end
      conn.inbuf = sub(buf, 5 + len)
    else
      local e = buf:find("\r\n\r\n", 1, true)
      if not e then
        if #buf > MAX_REQUEST then self:drop(conn, "request too long") end
        return
      end
      local req = { headers = {} }
      local first = true
      for line in sub(buf, 1, e - 1):gmatch("[^\r\n]+") do
        if first then
          req.method, req.url, req.version = line:match("^(%S+)%s+(%S+)%s+(%S+)$")
          first = false
        else
          local k, v = line:match("^([^:]+):%s*(.-)%s*$")
          if k then req.headers[k:lower()] = v end
        end
      end
      local length = tonumber(req.headers["content-length"]) or 0
      if #buf < e + 3 + length then return end
      req.body = sub(buf, e + 4, e + 3 + length)
      conn.inbuf = sub(buf, e + 4 + length)
      self:request(conn, req)
    end
  end
end

-- -------------------------------------------------------------------------
-- Requests
-- -------------------------------------------------------------------------

function Server:respond(conn, req, code, headers, body)
  local lines = { "RTSP/1.0 " .. code .. " " .. (REASONS[code] or "") }
  if req.headers.cseq then lines[#lines + 1] = "CSeq: " .. req.headers.cseq end
  lines[#lines + 1] = "Server: tessel"
  for _, h in ipairs(headers or {}) do lines[#lines + 1] = h end
  if body then lines[#lines + 1] = "Content-Length: " .. #body end
  self:queue(conn, concat(lines, "\r\n") .. "\r\n\r\n" .. (body or ""))
end

function Server:httpRespond(conn, code, reason, ctype, body)
  conn.closeWhenSent = true
  self:queue(conn, string.format("HTTP/1.0 %d %s\r\nServer: tessel\r\nContent-Type: %s\r\n" ..
                                 "Content-Length: %d\r\nConnection: close\r\n\r\n%s",
                                 code, reason, ctype, #body, body))
end

function Server:httpRequest(conn, req)
  if req.method ~= "GET" then return self:httpRespond(conn, 405, "Method Not Allowed", "text/plain", "GET only\n") end
  local fn = self.handlers[pathOf(req.url)]
  if not fn then return self:httpRespond(conn, 404, "Not Found", "text/plain", "not found\n") end
  local ok, body, ctype = pcall(fn, req)
  if not ok or body == nil then
    local why = tostring(not ok and body or ctype or "no content")
    self.log("http: " .. req.url .. ": " .. why)
    return self:httpRespond(conn, 503, "Service Unavailable", "text/plain", why .. "\n")
  end
  self:httpRespond(conn, 200, "OK", ctype or "application/octet-stream", body)
end

-- The stream a URL names: the path itself, or the path less its track.
function Server:streamOf(url)
  local path = pathOf(url)
  return self.streams[path] or self.streams[path:gsub("/[^/]*$", "")]
end


local methods = {}

function Server:request(conn, req)
  if not req.method then return self:drop(conn, "malformed request") end
  if req.version:match("^HTTP/") then return self:httpRequest(conn, req) end
  if req.version ~= "RTSP/1.0" then return self:respond(conn, req, 505) end
  if not req.headers.cseq then return self:respond(conn, req, 400) end
  local m = methods[req.method]
  if not m then return self:respond(conn, req, 501, { "Public: " .. PUBLIC }) end
  return m(self, conn, req)
end

function methods.OPTIONS(self, conn, req)
  self:respond(conn, req, 200, { "Public: " .. PUBLIC })
end

function Server:describeAnswer(conn, req, stream)
  local base = req.url:gsub("/+$", "")
  local address = conn.sock:getsockname()
  local sdp = M.sdp{ codec = stream.codec, params = stream.params, address = address,
                     name = stream.path, id = stream.version }
  self:respond(conn, req, 200, { "Content-Base: " .. base .. "/", "Content-Type: application/sdp" }, sdp)
end

local function ready(stream)
  local p = stream.params
  return p.sps and p.pps and (stream.codec ~= H265 or p.vps)
end

function methods.DESCRIBE(self, conn, req)
  local stream = self:streamOf(req.url)
  if not stream then return self:respond(conn, req, 404) end
  if ready(stream) then return self:describeAnswer(conn, req, stream) end
  -- The parameter sets come with the next keyframe: answer then.
  conn.waiting = { req = req, stream = stream, deadline = socket.gettime() + DESCRIBE_WAIT }
end

function Server:retryDescribe(conn, now)
  local w = conn.waiting
  if not ready(w.stream) and now < w.deadline then return end
  conn.waiting = nil
  if self.streams[w.stream.path] ~= w.stream then
    self:respond(conn, w.req, 404)
  else
    self:describeAnswer(conn, w.req, w.stream)   -- after the wait, with what is known
  end
  self:parse(conn)
end

-- The server's UDP pair, bound at the first UDP client.
function Server:udpPorts()
  if self.rtp then return true end
  for _ = 1, 32 do
    local p = self.rtpPort or ((16384 + random32() % 16384) * 2)
    local rtp, rtcp = socket.udp(), socket.udp()
    if rtp:setsockname("*", p) and rtcp:setsockname("*", p + 1) then
      rtp:settimeout(0)
      rtcp:settimeout(0)
      self.rtp, self.rtcp, self.rtpPort = rtp, rtcp, p
      self.rtpHandle, self.rtcpHandle = handle("udp", rtp), handle("udp", rtcp)
      self.dirty = true
      return true
    end
    rtp:close()
    rtcp:close()
    if self.rtpPort then return false end
  end
  return false
end

function methods.SETUP(self, conn, req)
  local stream = self:streamOf(req.url)
  if not stream then return self:respond(conn, req, 404) end
  local session, id = sessionOf(conn, req)
  if id and not session then return self:respond(conn, req, 454) end
  if session and session.stream ~= stream then return self:respond(conn, req, 459) end
  local chosen
  for offer in (req.headers.transport or ""):gmatch("[^,]+") do
    local proto = offer:match("^%s*([^;]+)")
    if proto == "RTP/AVP/TCP" then
      local a, b = offer:match("interleaved=(%d+)%-(%d+)")
      a = tonumber(a) or 0
      chosen = { tcp = true, channel = a, rtcpChannel = tonumber(b) or a + 1 }
      break
    elseif (proto == "RTP/AVP" or proto == "RTP/AVP/UDP") and not offer:find("multicast", 1, true) then
      local a, b = offer:match("client_port=(%d+)%-?(%d*)")
      if a then
        chosen = { udp = true, clientPort = tonumber(a), clientRtcp = tonumber(b) or tonumber(a) + 1 }
        break
      end
    end
  end
  if not chosen or (chosen.udp and not self:udpPorts()) then
    return self:respond(conn, req, 461)
  end
  if not session then
    id = string.format("%08X", self.nextId)
    self.nextId = self.nextId + 1
    session = { id = id, stream = stream, conn = conn, ssrc = random32(), packets = 0, octets = 0 }
    conn.sessions[id] = session
  end
  session.udp, session.channel, session.rtcpChannel = chosen.udp, chosen.channel, chosen.rtcpChannel
  session.clientPort, session.clientRtcp = chosen.clientPort, chosen.clientRtcp
  local transport
  if chosen.udp then
    transport = string.format("RTP/AVP;unicast;client_port=%d-%d;server_port=%d-%d;ssrc=%08X",
                              chosen.clientPort, chosen.clientRtcp, self.rtpPort, self.rtpPort + 1, session.ssrc)
  else
    transport = string.format("RTP/AVP/TCP;unicast;interleaved=%d-%d;ssrc=%08X",
                              chosen.channel, chosen.rtcpChannel, session.ssrc)
  end
  self:respond(conn, req, 200, { "Transport: " .. transport, "Session: " .. id .. ";timeout=60" })
end

function methods.PLAY(self, conn, req)
  local session = sessionOf(conn, req)
  if not session then return self:respond(conn, req, 454) end
  local stream = session.stream
  if not session.playing then
    session.playing, session.waitKey = true, true
    session.seq = random32() & 0xFFFF
    session.rtptime = random32()
    stream.sessions[session] = true
  end
  local url = req.url:gsub("/+$", "")
  if not self.streams[pathOf(url)] then url = url:gsub("/[^/]*$", "") end
  self:respond(conn, req, 200, {
    "Range: npt=0.000-",
    "Session: " .. session.id .. ";timeout=60",
    string.format("RTP-Info: url=%s/trackID=0;seq=%d;rtptime=%d", url, session.seq, session.rtptime),
  })
end


function methods.PAUSE(self, conn, req)
  local session = sessionOf(conn, req)
  if not session then return self:respond(conn, req, 454) end
  stopSession(session)
  self:respond(conn, req, 200, { "Session: " .. session.id })
end

function methods.TEARDOWN(self, conn, req)
  local session = sessionOf(conn, req)
  if not session then return self:respond(conn, req, 454) end
  stopSession(session)
  conn.sessions[session.id] = nil
  self:respond(conn, req, 200, { "Session: " .. session.id })
end

function methods.GET_PARAMETER(self, conn, req)
  local session, id = sessionOf(conn, req)
  if id and not session then return self:respond(conn, req, 454) end
  self:respond(conn, req, 200, session and { "Session: " .. session.id } or nil)
end

-- -------------------------------------------------------------------------
-- Sending pictures
-- -------------------------------------------------------------------------

-- Reads the pictures a source without a descriptor has (a loop that fell
-- behind finds several) and sends them to their clients. A source with a
-- descriptor gives one picture a step: its descriptor stays ready while it
-- has more, and the sockets are served in between (a simulator behind time
-- encodes while it is read).
local DRAIN = 32
function Server:drain(stream)
  for _ = 1, DRAIN do
    if not self:pull(stream) then return end
  end
end

-- Reads one picture from a stream's source and sends it to its clients.
function Server:pull(stream)
  local data, info = stream.source:GetStream(0)
  if not data then return false end
  local pic = M.packetise(stream.codec, data, info, self.mtu)
  if pic.params then
    local changed = false
    for k, v in pairs(pic.params) do
      if stream.params[k] ~= v then stream.params[k], changed = v, true end
    end
    if changed then stream.version = stream.version + 1 end
  end
  if pic.n == 0 then return true end
  local now
  for session in pairs(stream.sessions) do
    if session.waitKey and pic.keyframe then
      session.waitKey = false
      session.offset = session.rtptime - pic.timestamp
    end
    if not session.waitKey then
      now = now or socket.gettime()
      self:send(session, pic, now)
    end
  end
  return true
end

local pieces = {}

function Server:send(session, pic, now)
  local n, prefix, chunk = pic.n, pic.prefix, pic.chunk
  local ts = (pic.timestamp + session.offset) & 0xFFFFFFFF
  local seq, ssrc, marker = session.seq, session.ssrc, pic.marker
  local octets = 0
  if session.udp then
    local rtp, peer, port = self.rtp, session.conn.peer, session.clientPort
    for k = 1, n do
      local payload = prefix[k] .. chunk[k]
      rtp:sendto(M.rtpHeader(marker and k == n, PT, seq + k - 1, ts, ssrc) .. payload, peer, port)
      octets = octets + #payload
    end
  else
    local ch, m = session.channel, 0
    for k = 1, n do
      local size = #prefix[k] + #chunk[k]
      pieces[m + 1] = spack(">BBI2BBI2I4I4", 36, ch, 12 + size, 0x80, ((marker and k == n) and 0x80 or 0) | PT,
                            (seq + k - 1) & 0xFFFF, ts, ssrc)
      pieces[m + 2], pieces[m + 3] = prefix[k], chunk[k]
      m = m + 3
      octets = octets + size
    end
    self:queue(session.conn, concat(pieces, "", 1, m))
    if not self.conns[session.conn] then return end
  end
  session.seq = (seq + n) & 0xFFFF
  session.packets, session.octets = session.packets + n, session.octets + octets
  if not session.lastReport or now - session.lastReport >= SR_INTERVAL then
    session.lastReport = now
    local sr = senderReport(ssrc, now, ts, session.packets, session.octets)
    if session.udp then
      self.rtcp:sendto(sr, session.conn.peer, session.clientRtcp)
    else
      self:queue(session.conn, spack(">BBI2", 36, session.rtcpChannel, #sr) .. sr)
    end
  end
end

return M
