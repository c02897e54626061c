std = "lua53"
read_globals = { "Tessel" }
max_line_length = 120
files["tests/lua"] = { std = "+busted" }
files["tests/robustness"] = { std = "+busted" }
