-- A pipeline's life against the simulator: lay out the buffer pools, start the
-- system, build the encoding stages (examples/encode_pipeline.lua), bind
-- channels, read the bindings back, draw the pipeline, and tear it all down
-- in order.
--
--   make demo     (or: LUA_CPATH='build/lua/?.so;;' lua5.3 examples/demo.lua [-v] [dir])
--
-- It prints one line per stage, where the picture of the pipeline is, the
-- platform calls counted by module and the simulator's findings. Every line
-- of the stages and every call with its result go to journal.txt in dir
-- (build/demo from a built source tree, else a temporary directory); -v
-- prints the stages' lines as well.
--
-- Each stage is a small function of the table `demo`; a longer pipeline adds
-- stages and links and lists them in demo.stages.
require "tessel"
local sim = require "tessel.sim"
local SYS, VB = Tessel.SYS, Tessel.VB

-- The stages of the other examples, found beside this script.
package.path = (arg and arg[0] and arg[0]:match("^(.*)/") or "examples") .. "/?.lua;" .. package.path
local encode = require "encode_pipeline"
local decode = require "decode_pipeline"
local capture = require "capture_pipeline"
local display = require "display_pipeline"
local overlay = require "overlay_pipeline"
local audio = require "audio_pipeline"

local demo = {}

local stage = require "stage"
local say, expect = stage.say, stage.check

-- Status numbers are the platform's 32-bit codes.
local function hex(status) return string.format("%08X", status & 0xFFFFFFFF) end

local function designation(d)
  return string.format("%s %d/%d", d[1], d[2], d[3])
end

-- Common pools: full HD and D1 frames in 4:2:0, the larger in its own zone.
demo.pools = {
  { u32BlkSize = 1920 * 1080 * 3 // 2, u32BlkCnt = 10, acMmzName = "ddr0" },
  { u32BlkSize = 720 * 576 * 3 // 2, u32BlkCnt = 6 },
}
demo.maxPools = 32

-- Source and destination of each binding, as {module, device, channel}:
-- capture into the encoding group's input, and the display's four windows:
-- the decoder, the group's two outputs and the camera itself.
demo.links = {
  { { "VIU", capture.device, capture.channel }, { "VPSS", encode.group, 0 } },
  { { "VDEC", 0, decode.channel }, { "VOU", display.device, 0 } },
  { { "VPSS", encode.group, 0 }, { "VOU", display.device, 1 } },
  { { "VPSS", encode.group, 1 }, { "VOU", display.device, 2 } },
  { { "VIU", capture.device, capture.channel }, { "VOU", display.device, 3 } },
}

function demo.layout_pools()
  say("Buffer pools")
  expect("VB.Config", VB.Config(demo.maxPools, demo.pools))
  expect("VB.Init", VB.Init())
  local pools, max = VB.GetConfig()
  for i, p in ipairs(pools) do
    say("    pool %d: %d blocks of %d bytes%s", i, p.u32BlkCnt, p.u32BlkSize,
        p.acMmzName and (" in " .. p.acMmzName) or "")
  end
  say("    at most %d pools", max)
end

function demo.start_system()
  say("System")
  expect("SYS.Init", SYS.Init())
  say("    platform %s", SYS.GetVersion())
  expect("SYS.InitPtsBase", SYS.InitPtsBase({ 0, 0 }))
end

function demo.private_pool()
  say("Private pool")
  demo.pool = VB.CreatePool(64 * 1024, 4)  -- its object owns it
  if not demo.pool then error("VB.CreatePool refused") end
  say("  %-44s ok", "VB.CreatePool")
  say("    pool id %d", demo.pool.ID)
end

function demo.bind()
  say("Bindings")
  for _, link in ipairs(demo.links) do
    expect(designation(link[1]) .. " -> " .. designation(link[2]), SYS.Bind(link[1], link[2]))
  end
end

function demo.read_back()
  say("Read back")
  for _, link in ipairs(demo.links) do
    local src = expect("source of " .. designation(link[2]), SYS.GetBind(link[2]))
    say("    %s feeds %s", designation(src), designation(link[2]))
  end
  local pts = SYS.GetCurrentPts()
  say("    time base %d:%d", pts[1], pts[2])
end

-- The pipeline as Graphviz DOT in the output directory, and rendered beside
-- it as SVG when Graphviz's dot is installed.
function demo.draw()
  say("Pipeline")
  local dot = demo.dir .. "/pipeline.dot"
  local f = assert(io.open(dot, "w"))
  f:write(sim.dot())
  f:close()
  demo.picture = dot
  if os.execute("command -v dot >/dev/null 2>&1") then
    local svg = demo.dir .. "/pipeline.svg"
    if os.execute(string.format("dot -Tsvg '%s' -o '%s'", dot, svg)) then demo.picture = svg end
  end
  say("    drawn in %s", demo.picture)
end

function demo.unbind()
  say("Unbinding")
  for i = #demo.links, 1, -1 do
    local link = demo.links[i]
    expect(designation(link[1]) .. " -> " .. designation(link[2]), SYS.UnBind(link[1], link[2]))
  end
end

-- The private pool, the system, then the pools, in the reverse of start-up.
function demo.shut_down()
  say("Shut-down")
  demo.pool:Destroy()
  say("  %-44s done", "Pool:Destroy")
  expect("SYS.Exit", SYS.Exit())
  expect("VB.Exit", VB.Exit())
end

-- What reached the platform, one line per call, in the journal file; the
-- count of calls by module for the summary. The device-file calls (open,
-- ioctl, close: the audio codec's) count under the device last opened.
local function module_of(name)
  return name:match("^HI_MPI_(%u+)_") or name:match("^HI_(%u+)_")
end

function demo.journal()
  say("[platform calls]")
  demo.modules = {}
  local device = "device file"
  for _, c in ipairs(sim.calls()) do
    if c.name == "open" and type(c.args[1]) == "string" then
      device = c.args[1]:match("^/dev/(%w+)") and c.args[1]:match("^/dev/(%w+)"):upper() or c.args[1]
    end
    local ret = math.type(c.ret) == "integer" and hex(c.ret) or tostring(c.ret)
    say("    %-28s %s%s", c.name, ret, c.reason and ("  " .. c.reason) or "")
    local m = module_of(c.name) or device
    demo.modules[m] = (demo.modules[m] or 0) + 1
  end
end

-- What a board would have punished although every call went through: the
-- simulator's findings (objects or bindings left at exit, ...). None here.
function demo.check()
  demo.findings = {}
  for _, f in ipairs(sim.check()) do
    demo.findings[#demo.findings + 1] = string.format("%s: %s (%s, call %d)", f.rule, f.message, f.call, f.index)
  end
  say("Findings: %d", #demo.findings)
  for _, f in ipairs(demo.findings) do say("    %s", f) end
  if #demo.findings > 0 then error("the pipeline was not torn down cleanly") end
end

-- The title on the H.264 stream, masks on the captured picture and on the
-- second display window.
function demo.overlays() overlay.build(encode.streams[1].chn, capture.chn, display.channels[2]) end

-- Bindings come off before the encoding stages destroy what they join.
demo.stages = {
  { "buffer pools", demo.layout_pools }, { "system", demo.start_system }, { "private pool", demo.private_pool },
  { "capture", capture.build }, { "encoding", encode.build }, { "decoding", decode.build },
  { "display", display.build }, { "overlays", demo.overlays }, { "audio", audio.build },
  { "bindings", demo.bind }, { "read back", demo.read_back }, { "drawing", demo.draw },
  { "unbinding", demo.unbind }, { "audio tear-down", audio.tear_down },
  { "overlay tear-down", overlay.tear_down }, { "display tear-down", display.tear_down },
  { "decoding tear-down", decode.tear_down }, { "encoding tear-down", encode.tear_down },
  { "capture tear-down", capture.tear_down }, { "shut-down", demo.shut_down }, { "findings", demo.check } }

-- Where the journal and the picture go: the directory named on the command
-- line, else build/demo when run from a source tree that has been built,
-- else a new temporary directory.
local function output_dir(named)
  local dir = named
  if not dir then
    if os.execute("test -d build") then
      dir = "build/demo"
    else
      dir = os.tmpname()
      os.remove(dir)
    end
  end
  assert(os.execute(string.format("mkdir -p '%s'", dir)), "cannot make " .. dir)
  return dir
end

-- Runs the stages in order, one summary line each, and stops at the first
-- that fails (its reason on standard error). Returns whether all passed.
function demo.run(dir)
  demo.dir = output_dir(dir)
  local journal = demo.dir .. "/journal.txt"
  stage.log = assert(io.open(journal, "w"))
  sim.reset()
  print("Stages")
  local failed
  for _, s in ipairs(demo.stages) do
    local name, step = s[1], s[2]
    stage.say("[%s]", name)
    local ok, why = pcall(step)
    print(string.format("  %-24s %s", name, ok and "ok" or "FAILED"))
    if not ok then
      failed = tostring(why)
      stage.say("FAILED: %s", failed)
      io.stderr:write("demo: ", name, " failed: ", failed, "\n")
      break
    end
  end
  demo.journal()  -- also after a failure: the calls up to it
  stage.log:close()
  stage.log = nil
  if demo.picture then print("Pipeline picture: " .. demo.picture) end
  do
    local names, parts = {}, {}
    for m in pairs(demo.modules) do names[#names + 1] = m end
    table.sort(names)
    local total = 0
    for _, m in ipairs(names) do
      parts[#parts + 1] = string.format("%s %d", m, demo.modules[m])
      total = total + demo.modules[m]
    end
    print(string.format("Platform calls: %d", total))
    for i = 1, #parts, 6 do print("  " .. table.concat(parts, ", ", i, math.min(i + 5, #parts))) end
  end
  if demo.findings then
    print(string.format("Findings: %d", #demo.findings))
    for i = 1, math.min(#demo.findings, 10) do print("  " .. demo.findings[i]) end
    if #demo.findings > 10 then print(string.format("  ... %d more in the journal", #demo.findings - 10)) end
  end
  print("Journal: " .. journal)
  return not failed
end

-- demo.lua [-v] [output directory]
local named
for _, a in ipairs(arg or {}) do
  if a == "-v" then stage.verbose = true else named = a end
end
os.exit(demo.run(named) and 0 or 1)
