-- The reference is complete: every class, static function, method and
-- property registered under Tessel (and every function of tessel.osd,
-- tessel.errors and, where built, tessel.sim) has an entry, and every entry names
-- something registered. Run from the project's root with the built module on
-- the C path: lua5.3 docs/check-reference.lua [ldoc command]
require "tessel"

local ldoc = arg[1] or "ldoc"
local documented = {}
local p = io.popen('cd docs && LUA_PATH="./?.lua;;" ' .. ldoc .. " -q -c config.ld --filter reference.names . 2>&1")
for line in p:lines() do
  if line:match("^class [%w_]+$") or line:match("^[%w_]+[.:][%w_]+$") then documented[line] = true end
end
p:close()

-- Names as registered: static functions are held raw by a class table, static
-- properties by its hidden metatable, methods (functions) and properties
-- (light userdata) by the member table of its instances; channel classes
-- also hold the members of MPPChannel, documented once there.
local registered = {}
local base = debug.getmetatable(Tessel.MPPChannel).__class.__members
for className, cls in pairs(Tessel) do
  registered["class " .. className] = true
  for name, value in pairs(cls) do
    if type(value) == "function" then registered[className .. "." .. name] = true end
  end
  local mt = debug.getmetatable(cls)
  for name in pairs(mt.__propget) do registered[className .. "." .. name] = true end
  for name, value in pairs(mt.__class.__members) do
    if className == "MPPChannel" or base[name] ~= value then
      registered[className .. (type(value) == "function" and ":" or ".") .. name] = true
    end
  end
end

-- tessel.osd, where it was built: its functions and field, and the methods
-- of its fonts. A build without it leaves its entries unchecked.
local hasOsd, osd = pcall(require, "tessel.osd")
if hasOsd then
  registered["class osd"] = true
  for name in pairs(osd) do registered["osd." .. name] = true end
  registered["class Font"] = true
  for name in pairs(debug.getregistry()["tessel.osd.Font"].__index) do registered["Font:" .. name] = true end
else
  for name in pairs(documented) do
    if name == "class osd" or name == "class Font" or name:match("^osd%.") or name:match("^Font:") then
      documented[name] = nil
    end
  end
end

-- The modules of functions only: tessel.errors everywhere, tessel.sim in
-- host builds (a build without it leaves its entries unchecked).
for _, short in ipairs({ "errors", "sim" }) do
  local loaded, module = pcall(require, "tessel." .. short)
  if loaded then
    for name in pairs(module) do registered[short .. "." .. name] = true end
  else
    for name in pairs(documented) do
      if name:match("^" .. short .. "%.") then documented[name] = nil end
    end
  end
end

local function differences(a, b)
  local list = {}
  for name in pairs(a) do
    if not b[name] then list[#list + 1] = name end
  end
  table.sort(list)
  return list
end

local missing, unknown = differences(registered, documented), differences(documented, registered)
for _, name in ipairs(missing) do print("no entry in the reference: " .. name) end
for _, name in ipairs(unknown) do print("entry names nothing registered: " .. name) end
local count = 0
for _ in pairs(registered) do count = count + 1 end
print(string.format("%d registered names, %d without an entry, %d entries naming nothing",
                    count, #missing, #unknown))
os.exit(#missing + #unknown == 0 and 0 or 1)
