-- What a script sees right after require: the namespace, the module classes,
-- the channel base class, and the binding layer's refusals.
describe("the Tessel namespace", function()
  it("loads with require and registers every module class", function()
    assert.is_true(require("tessel"))
    for _, name in ipairs({ "SYS", "VB", "VI", "VO", "VPSS", "VENC", "VDEC", "RGN", "AI", "AO",
                            "ACODEC", "HDMI", "MPPChannel" }) do
      assert.is_table(Tessel[name], name)
    end
  end)

  it("refuses new keys and hides its metatables", function()
    assert.error_matches(function() Tessel.Foo = 1 end, "no writable variable 'Foo'")
    assert.error_matches(function() Tessel.SYS.Foo = 1 end, "no writable variable 'Foo'")
    assert.is_nil(Tessel.Foo)
    assert.is_nil(Tessel.SYS.Foo)
    assert.is_false(getmetatable(Tessel))
    assert.is_false(getmetatable(Tessel.SYS))
  end)

  it("survives a second require and a replaced global", function()
    local saved = Tessel
    Tessel = nil
    package.loaded.tessel = nil
    require("tessel")
    assert.are.equal(saved, Tessel)
  end)
end)
