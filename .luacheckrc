std = "lua53"
read_globals = { "Tessel" }
max_line_length = 125

-- Tests write to the namespace on purpose (to see it refuse), keep objects in
-- variables only to let them go later, and often look at the message of a
-- nil-plus-message result alone.
files["tests"] = {
  std = "+busted",
  globals = { "Tessel" },
  ignore = { "211/ok", "231/ok", "231/alias", "311", "421", "431" },
}
