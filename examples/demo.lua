-- A pipeline's life against the simulator: lay out the buffer pools, start the
-- system, build the encoding stages (examples/encode_pipeline.lua), bind
-- channels, read the bindings back, draw the pipeline, and tear it all down
-- in order.
--
--   make demo     (or: LUA_CPATH='build/lua/?.so;;' lua5.3 examples/demo.lua)
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

-- The pipeline as Graphviz DOT, and as build/pipeline.svg when dot is there.
function demo.draw()
  local text = sim.dot()
  say("Pipeline")
  io.write(text)
  if not os.execute("command -v dot >/dev/null 2>&1") then return end
  local path = os.tmpname()
  local f = assert(io.open(path, "w"))
  f:write(text)
  f:close()
  local rendered = os.execute("mkdir -p build && dot -Tsvg " .. path .. " -o build/pipeline.svg")
  os.remove(path)
  if rendered then say("    rendered to build/pipeline.svg") end
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

-- What reached the platform, one line per call.
function demo.journal()
  say("Platform calls")
  for _, c in ipairs(sim.calls()) do
    local ret = math.type(c.ret) == "integer" and hex(c.ret) or tostring(c.ret)
    say("    %-28s %s", c.name, ret)
  end
end

-- What a board would have punished although every call went through: the
-- simulator's findings (objects or bindings left at exit, ...). None here.
function demo.check()
  local findings = sim.check()
  say("Findings: %d", #findings)
  for _, f in ipairs(findings) do say("    %s: %s (%s, call %d)", f.rule, f.message, f.call, f.index) end
  if #findings > 0 then error("the pipeline was not torn down cleanly") end
end

-- The title on the H.264 stream, masks on the captured picture and on the
-- second display window.
function demo.overlays() overlay.build(encode.streams[1].chn, capture.chn, display.channels[2]) end

-- Bindings come off before the encoding stages destroy what they join.
demo.stages = { demo.layout_pools, demo.start_system, demo.private_pool, capture.build, encode.build,
                decode.build, display.build, demo.overlays, audio.build, demo.bind, demo.read_back, demo.draw,
                demo.unbind, audio.tear_down, overlay.tear_down, display.tear_down, decode.tear_down,
                encode.tear_down, capture.tear_down, demo.shut_down, demo.journal, demo.check }

function demo.run()
  sim.reset()
  for _, step in ipairs(demo.stages) do step() end
end

demo.run()
