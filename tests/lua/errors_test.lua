-- tessel.errors: the platform's name and, in words, the module and reason
-- of an error code, from a status, a code or a failure message.
local errors = require "tessel.errors"

describe("tessel.errors", function()
  it("names a code however a script holds it", function()
    for _, held in ipairs({ -1610055676, 0xA0088004, "0xA0088004",
                            "Fail to create VENC channel [@Create: line 31 - error=A0088004]" }) do
      assert.are.equal("HI_ERR_VENC_EXIST", errors.name(held))
    end
    assert.are.equal("VENC: already exists", errors.describe(-1610055676))
  end)

  it("covers every module's codes, in the modules' own words", function()
    assert.are.same({ "HI_ERR_VPSS_BUSY", "VPSS: busy" }, { errors.name(0xA0078012), errors.describe(0xA0078012) })
    assert.are.equal("VO: not supported", errors.describe(0xA00F8008))
    assert.are.equal("VDEC: not supported", errors.describe(0xA0058008))  -- spelt NOT_SURPPORT by the platform
    assert.are.equal("HI_ERR_VDEC_NOT_SURPPORT", errors.name(0xA0058008))
    assert.are.equal("AI: system not ready", errors.describe(0xA0158010))
    assert.is_truthy(errors.name(0xA0038003))  -- regions
  end)

  it("answers nil for what is no platform error code", function()
    for _, other in ipairs({ 0, 1, -1, 0xA0088FFF, 2 ^ 40, 1.5, "error=zz", "plain words", {}, true }) do
      assert.is_nil(errors.name(other))
      assert.is_nil(errors.describe(other))
    end
    assert.is_nil(errors.name())
  end)
end)
