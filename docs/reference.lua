-- LDoc filters over the reference's model (run from docs/, as
-- `ldoc -q -c config.ld --filter reference.NAME .`):
--   names  one line per documented class ("class X"), function ("X.f",
--          "X:m") and property ("X.p"), for the completeness check;
--   meta   the annotations for Lua language servers: a ---@meta part with a
--          class per documented class with its methods and properties, the
--          Tessel namespace, and a class per table form with its keys; then
--          a "---@meta tessel.X" part per module required on its own
--          (build-reference writes each part to its own file).
-- Runs under LDoc's interpreter, which may be older than Lua 5.3.
local tables = dofile("tables.lua")

local M = {}

-- The documented classes (LDoc's type sections) and their entries, from the
-- code (the guide and the page of table forms are topics, not code). A
-- function of a module without a class of its own is named after the
-- module's last part ("sim.reset" in tessel.sim).
local function entries(modules)
  local list = {}
  for _, m in ipairs(modules) do
    if not m.file:match("%.md$") then
      local short = m.name:match("^tessel%.([%w_]+)$")
      for _, s in ipairs(m.sections or {}) do
        if s.type == "type" then list[#list + 1] = { class = s, file = m.file, module = m.name } end
      end
      for _, item in ipairs(m.items) do
        local name = item.name
        if short and not name:match("[.:]") then name = short .. "." .. name end
        if item.type == "function" or item.type == "field" then
          list[#list + 1] = { item = item, name = name, module = m.name, file = m.file }
        elseif item.type == "table" then
          list[#list + 1] = { tableForm = item }
        end
      end
    end
  end
  return list
end

-- The modules written in Lua have their own reference and checks.
function M.names(modules)
  for _, e in ipairs(entries(modules)) do
    if not e.tableForm and not (e.file or ""):match("%.lua$") then
      print(e.class and "class " .. e.class.name or e.name)
    end
  end
end

-- Lua types of LDoc's type words.
local TYPES = { int = "integer", integer = "integer", bool = "boolean", boolean = "boolean",
                string = "string", number = "number", tab = "table", table = "table", func = "function" }

local function luaType(t)
  if not t or t == "" then return "any" end
  local parts = {}
  for word in t:gmatch("[^|]+") do
    local listOf = word:match("^{([%w_]+),%.%.%.}$")
    parts[#parts + 1] = listOf and (TYPES[listOf] or listOf) .. "[]" or TYPES[word] or word
  end
  return table.concat(parts, "|")
end

-- The type of a sub-table key that the description spells out: its parts
-- marked `key.sub` (each typed by the structures named in its text, or by
-- the names and numbers it takes), or the structures named when there are
-- no parts. Nil when the text says neither.
local function nestedType(key, text)
  local function structures(seg)
    local names, seen = {}, {}
    for name in seg:gmatch("`([A-Z][A-Z0-9_]*_S)`") do
      if not seen[name] then names[#names + 1], seen[name] = name, true end
    end
    return names
  end
  local marks = {}
  for at, sub, after in text:gmatch("()`" .. key .. "%.([%w_]+)`()") do
    if not marks[sub] then
      marks[#marks + 1] = { at = at, sub = sub, after = after }
      marks[sub] = true
    end
  end
  if #marks == 0 then
    local names = structures(text)
    return #names > 0 and table.concat(names, "|") or nil
  end
  local parts = {}
  for i, m in ipairs(marks) do
    local seg = text:sub(m.after, (marks[i + 1] and marks[i + 1].at or #text + 1) - 1)
    local names = structures(seg)
    local t
    if #names > 0 then
      t = table.concat(names, "|")
    else
      local kinds = {}
      if seg:find('"', 1, true) then kinds[#kinds + 1] = "string" end
      if seg:find("number") then kinds[#kinds + 1] = "integer" end
      t = #kinds > 0 and table.concat(kinds, "|") or "any"
    end
    parts[#parts + 1] = m.sub .. ": " .. t
  end
  return "{" .. table.concat(parts, ", ") .. "}"
end

local function comment(text, out)
  for line in ((text or ""):gsub("%s+$", "")):gmatch("[^\n]+") do
    out[#out + 1] = "---" .. line:gsub("^%s+", "")
  end
end

-- Whether the C++ class after a type's comment derives from the channel base.
local function isChannel(section, file)
  local f = io.open(file, "r")
  if not f then return false end
  local n, found = 0, false
  for line in f:lines() do
    n = n + 1
    if n >= section.lineno then
      local decl = line:match("^class%s+[%w_]+%s*(.*)")
      if decl then
        found = decl:match("public Channel[,%s{]") ~= nil
        break
      end
    end
  end
  f:close()
  return found
end

local function emitFunction(out, owner, sep, name, item)
  comment(item.summary, out)
  local params = item.params or {}
  local mods = item.modifiers and item.modifiers.param or {}
  for i, p in ipairs(params) do
    local m = mods[i] or mods[p] or {}
    out[#out + 1] = "---@param " .. p .. (m.opt and "?" or "") .. " " .. luaType(m.type)
  end
  local rets = item.modifiers and item.modifiers["return"] or {}
  for _, r in ipairs(rets) do
    if r.type then out[#out + 1] = "---@return " .. luaType(r.type) end
  end
  out[#out + 1] = "function " .. owner .. sep .. name .. "(" .. table.concat(params, ", ") .. ") end"
  out[#out + 1] = ""
end

local function emitClass(out, c)
  comment(c.summary, out)
  out[#out + 1] = "---@class " .. (c.luaName or c.name) .. (c.channel and " : MPPChannel" or "")
  for _, f in ipairs(c.fields) do
    out[#out + 1] = "---@field " .. f.name .. " " .. f.type .. " " .. ((f.summary or ""):gsub("%s+", " "))
  end
  out[#out + 1] = "local " .. c.name .. " = {}"
  out[#out + 1] = ""
  for _, fn in ipairs(c.functions) do emitFunction(out, c.name, fn.sep, fn.name, fn.item) end
end

function M.meta(modules)
  local out = {
    "---@meta",
    "-- tessel: annotations for Lua language servers, generated from the reference.",
    "",
  }
  local classes, order, documentedTables = {}, {}, {}
  -- the modules required on their own, by name: { short, summary, classes, functions }
  local parts, partOrder = {}, {}
  local function partOf(module)
    local short = (module or ""):match("^tessel%.([%w_]+)$")
    if not short then return nil end
    if not parts[module] then
      parts[module] = { name = module, short = short, classes = {}, functions = {} }
      partOrder[#partOrder + 1] = parts[module]
    end
    return parts[module]
  end
  for _, m in ipairs(modules) do
    local part = partOf(m.name)
    if part then part.summary = m.summary end
  end
  for _, e in ipairs(entries(modules)) do
    local item = e.item
    if e.tableForm then
      documentedTables[#documentedTables + 1] = e.tableForm
    elseif e.class then
      local s = e.class
      local c = { name = s.name, summary = s.summary, fields = {}, functions = {},
                  channel = s.name ~= "MPPChannel" and isChannel(s, e.file) }
      classes[s.name] = c
      local part = partOf(e.module)
      if part then
        part.classes[#part.classes + 1] = c
      else
        c.inTessel = true
        order[#order + 1] = c
      end
    else
      local cls, sep, name = e.name:match("^([%w_]+)([.:])([%w_]+)$")
      local c = cls and classes[cls]
      local part = partOf(e.module)
      if not c and part and cls ~= part.short then
        -- a class the module documents only by its methods (rtsp's Server)
        c = { name = cls, luaName = part.short .. "." .. cls, fields = {}, functions = {} }
        classes[cls] = c
        part.classes[#part.classes + 1] = c
      end
      if c and item.type == "field" then
        local t = item.modifiers and item.modifiers.field and item.modifiers.field[1]
        c.fields[#c.fields + 1] = { name = name, type = luaType(t and t.type), summary = item.summary }
      elseif c and item.type == "function" then
        c.functions[#c.functions + 1] = { name = name, sep = sep, item = item }
      elseif part and item.type == "function" then
        part.functions[#part.functions + 1] = { name = name, item = item }
      end
    end
  end

  out[#out + 1] = "---The module's namespace, defined by `require \"tessel\"`."
  out[#out + 1] = "---@class Tessel"
  for _, c in ipairs(order) do
    if c.inTessel then out[#out + 1] = "---@field " .. c.name .. " " .. c.name end
  end
  out[#out + 1] = "Tessel = {}"
  out[#out + 1] = ""

  for _, c in ipairs(order) do emitClass(out, c) end

  -- Table forms: those the reference describes (converted by hand), then
  -- those declared field by field.
  local described = {}
  for _, t in ipairs(documentedTables) do
    described[t.name] = true
    comment(t.summary, out)
    out[#out + 1] = "---@class " .. t.name
    local mods = t.modifiers and t.modifiers.param or {}
    for _, key in ipairs(t.params or {}) do
      local m = mods[key] or {}
      local text = t.params.map and t.params.map[key] or ""
      local ty = luaType(m.type)
      if ty == "table" then ty = nestedType(key, text) or ty end
      out[#out + 1] = "---@field " .. key .. (m.opt and "?" or "") .. " " .. ty .. " " .. (text:gsub("%s+", " "))
    end
    out[#out + 1] = ""
  end
  for _, s in ipairs(tables.scan("..")) do
    if not described[s.name] then
      out[#out + 1] = "---@class " .. s.name
      for _, f in ipairs(s.fields) do out[#out + 1] = "---@field " .. f.key .. " " .. f.type end
      if s.member then out[#out + 1] = "---@field " .. s.member .. " table" end
      out[#out + 1] = ""
    end
  end

  -- Each module required on its own: its table (the class named after it,
  -- or one made of its functions), its other classes, the table returned.
  for _, part in ipairs(partOrder) do
    out[#out + 1] = "---@meta " .. part.name
    comment(part.summary, out)
    local own = false
    for _, c in ipairs(part.classes) do
      if c.name == part.short then own = true end
    end
    if not own then
      out[#out + 1] = "local " .. part.short .. " = {}"
      out[#out + 1] = ""
      for _, fn in ipairs(part.functions) do emitFunction(out, part.short, ".", fn.name, fn.item) end
    end
    for _, c in ipairs(part.classes) do emitClass(out, c) end
    out[#out + 1] = "return " .. part.short
    out[#out + 1] = ""
  end
  io.write(table.concat(out, "\n"), "\n")
end

return M
