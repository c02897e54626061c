-- The overlay part of the demo: a title bar drawn into the H.264 stream, a
-- privacy mask over a corner of the captured picture, and a mask over part
-- of a display window. A script copies this for on-screen overlays.
--
-- Returns two stages for examples/demo.lua, to run once the encoders and the
-- capture channel exist:
--   build      create the regions and attach them to their channels
--   tear_down  detach and destroy them
require "tessel"
local RGN = Tessel.RGN
local stage = require "stage"
local say, check = stage.say, stage.check

local overlay = {}

overlay.title = { handle = 0, attrs = { type = "OVERLAY", attr = { enPixelFmt = "RGB_1555", u32BgColor = 0,
                                                                   stSize = { u32Width = 640, u32Height = 48 } } },
                  display = { bShow = true, enType = "OVERLAY",
                              attr = { stPoint = { s32X = 32, s32Y = 32 }, u32FgAlpha = 128, u32BgAlpha = 0,
                                       u32Layer = 0 } } }
overlay.mask = { handle = 1, attrs = { type = "COVEREX" },
                 display = { bShow = true, enType = "COVEREX",
                             attr = { enCoverType = "RECT", cover = { s32X = 0, s32Y = 0, u32Width = 320,
                                                                      u32Height = 180 },
                                      u32Color = 0x000000, u32Layer = 0 } } }

overlay.screen = { handle = 2, attrs = { type = "COVEREX" },
                   display = { bShow = true, enType = "COVEREX",
                               attr = { enCoverType = "RECT", cover = { s32X = 640, s32Y = 360, u32Width = 320,
                                                                        u32Height = 180 },
                                        u32Color = 0x808080, u32Layer = 0 } } }

overlay.regions = { overlay.title, overlay.mask, overlay.screen }

-- Attaches the title to the encoder channel, the masks to the capture
-- channel and the display window.
function overlay.build(encoder, capture, window)
  say("Overlays")
  overlay.targets = { encoder, capture, window }
  for i, r in ipairs(overlay.regions) do
    r.region = RGN.CreateRegion(r.handle, r.attrs)
    check(string.format("RGN %d: Create %s", r.handle, r.attrs.type), r.region:GetAttr())
    check(string.format("RGN %d: AttachToChn", r.handle), r.region:AttachToChn(overlay.targets[i], r.display))
  end
end

function overlay.tear_down()
  say("Overlay tear-down")
  for i, r in ipairs(overlay.regions) do
    check(string.format("RGN %d: DetachFromChn", r.handle), r.region:DetachFromChn(overlay.targets[i]))
    check(string.format("RGN %d: Destroy", r.handle), r.region:Destroy())
  end
end

return overlay
