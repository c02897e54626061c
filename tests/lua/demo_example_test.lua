-- make demo's run: a short summary on the terminal, the whole journal in a
-- file it names.
local support = require "tests.lua.support"

describe("examples/demo.lua", function()
  local dir = os.tmpname()
  os.remove(dir)
  local out, err, ok

  setup(function()
    out, err, ok = support.run(string.format("arg = { '%s' }\ndofile('examples/demo.lua')", dir))
  end)
  teardown(function() os.execute("rm -rf '" .. dir .. "'") end)

  it("passes every stage and prints a summary of at most 100 lines", function()
    assert.is_true(ok, out .. err)
    local lines = select(2, out:gsub("\n", ""))
    assert.is_true(lines <= 100, lines .. " lines")
    assert.is_nil(out:find("FAILED", 1, true))
    assert.is_truthy(out:find("\nFindings: 0\n", 1, true))
    -- counted by module, not listed call by call
    assert.is_truthy(out:match("VENC %d+"))
    assert.is_nil(out:find("HI_MPI_", 1, true))
    assert.is_nil(out:find("digraph", 1, true))
  end)

  it("writes the journal and the pipeline picture where it says", function()
    local journal = out:match("Journal: ([^\n]+)")
    assert.are.equal(dir .. "/journal.txt", journal)
    local f = assert(io.open(journal))
    local text = f:read("a")
    f:close()
    assert.is_truthy(text:find("HI_MPI_SYS_Bind", 1, true))
    local picture = out:match("Pipeline picture: ([^\n]+)")
    f = assert(io.open(picture))
    assert.is_true(f:seek("end") > 0)
    f:close()
  end)

  it("reports a failed stage loudly and exits with failure", function()
    local fail_dir = dir .. "/failing"
    local o, e, passed = support.run(string.format(
      "require 'tessel'\nlocal sim = require 'tessel.sim'\nlocal reset = sim.reset\n" ..
      "sim.reset = function() reset() sim.fail('HI_MPI_SYS_Init', 0xA0028010) end\n" ..
      "arg = { '%s' }\ndofile('examples/demo.lua')", fail_dir))
    assert.is_false(passed)
    assert.is_truthy(o:match("system%s+FAILED"), o)
    assert.is_truthy(e:find("SYS.Init", 1, true), e)
  end)
end)
