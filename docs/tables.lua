-- The table forms of the platform structures, read from their declarations:
-- the field lists of the converters (TESSEL_STRUCT, and the fixed fields and
-- member key of union-selected structures) give the keys, and the platform
-- headers give each member's C type, hence its Lua type. Used by the
-- reference (a page of table forms) and by the annotation file for language
-- servers. Runs under any Lua from 5.1 on (LDoc's interpreter may be older).
--
--   lua5.3 docs/tables.lua [root [file]]   writes the page (to standard output)
local M = {}

local SOURCE_DIRS = { "frame", "sys", "video/vi", "video/vpss", "video/venc", "video/vdec", "video/vo",
                      "region", "audio" }

local function readFile(path)
  local f = io.open(path, "r")
  if not f then return nil end
  local s = f:read("*a")
  f:close()
  return s
end

local function listDir(dir, pattern)
  local names = {}
  local p = io.popen('ls "' .. dir .. '" 2>/dev/null')
  for name in p:lines() do
    if name:match(pattern) then names[#names + 1] = dir .. "/" .. name end
  end
  p:close()
  table.sort(names)
  return names
end

-- Member C types of every structure in the platform headers:
-- types[STRUCT][member] = C type (union members included).
local function headerTypes(root)
  local types = {}
  for _, path in ipairs(listDir(root .. "/platform/include", "%.h$")) do
    local depth, members = 0, nil
    for line in readFile(path):gmatch("[^\n]*") do
      if depth == 0 and line:match("^typedef struct [%w_]+ {") then
        depth, members = 1, {}
      elseif depth > 0 then
        if line:match("{%s*$") then
          depth = depth + 1
        elseif line:match("^%s*}") then
          depth = depth - 1
          if depth == 0 then
            local name = line:match("^}%s*([%w_]+);")
            if name then types[name] = members end
            members = nil
          end
        else
          local ctype, member = line:match("^%s*([%w_]+)%s+%**([%w_]+)[%[;]")
          if ctype and ctype ~= "struct" then members[member] = ctype end
        end
      end
    end
  end
  return types
end

-- The text between the parenthesis or brace at position open and its match.
local function balanced(text, open)
  local o = text:sub(open, open)
  local c = o == "(" and ")" or "}"
  local depth = 0
  for i = open, #text do
    local ch = text:sub(i, i)
    if ch == o then
      depth = depth + 1
    elseif ch == c then
      depth = depth - 1
      if depth == 0 then return text:sub(open + 1, i - 1), i end
    end
  end
  return text:sub(open + 1)
end

-- The keys of a field list: F(m), FLAG(m), FIELD(m, "in", "out"), FIELD_CONV(m, c)
-- and literal Field{"key", "outKey", ...}, in order.
local function fieldsOf(list)
  local fields, pos = {}, 1
  while true do
    local s, e, macro, member = list:find("([%w_:]*F[%w_]*)%(%s*([%w_]+)", pos)
    local ls, le, key, outKey = list:find('Field{%s*"([^"]*)",%s*"([^"]*)"', pos)
    if ls and (not s or ls < s) then
      local member2 = list:match("offsetof%(S_,%s*([%w_]+)%)", le)
      fields[#fields + 1] = { key = key, outKey = outKey, member = member2 or key }
      pos = le + 1
    elseif s then
      if macro == "F" or macro == "FLAG" or macro == "FIELD_CONV" then
        fields[#fields + 1] = { key = member, outKey = member, member = member }
      elseif macro == "FIELD" then
        local inKey, out = list:match('^%s*,%s*"([^"]*)"%s*,%s*"([^"]*)"', e + 1)
        fields[#fields + 1] = { key = inKey or member, outKey = out or member, member = member }
      end
      pos = e + 1
    else
      return fields
    end
  end
end

local function luaType(ctype, known, described)
  if not ctype then return "any" end
  if ctype == "HI_BOOL" then return "boolean" end
  if ctype:match("_E$") then return "string|integer" end
  if ctype:match("_S$") then return (known[ctype] or described[ctype]) and ctype or "table" end
  if ctype:match("^HI_[US]%d+$") or ctype == "HI_CHAR" or ctype == "HI_FR32" or ctype:match("^VB_")
     or ctype:match("HANDLE$") then
    return "integer"
  end
  return "any"
end

-- Field lists may name a macro that stands for a field (#define NAME
-- FIELD(...)): the macro's text in its place.
local function expandFieldMacros(text)
  for name, body in text:gmatch("\n#define%s+([%w_]+)%s+(F[%w_]*%b())") do
    text = text:gsub("([^%w_])" .. name .. "([^%w_])", function(before, after) return before .. body .. after end)
  end
  return text
end

-- The structures the reference describes by hand (an @table comment in a
-- module's header): a member of such a type is typed by its name.
local function describedTables(root)
  local names = {}
  for _, dir in ipairs(SOURCE_DIRS) do
    for _, path in ipairs(listDir(root .. "/" .. dir, "%.h$")) do
      for name in readFile(path):gmatch("@table%s+([%w_]+)") do names[name] = true end
    end
  end
  return names
end

-- Every structure with a declared field list: a list of
-- { name = T, fields = { {key, outKey, type, ctype}, ... }, member = key or nil }.
function M.scan(root)
  root = root or "."
  local ctypes = headerTypes(root)
  local described = describedTables(root)
  local structs, byName = {}, {}
  local function add(name, fields, member)
    if byName[name] then return end
    local s = { name = name, fields = fields, member = member }
    byName[name] = s
    structs[#structs + 1] = s
  end
  for _, dir in ipairs(SOURCE_DIRS) do
    for _, path in ipairs(listDir(root .. "/" .. dir, "%.cpp$")) do
      local text = expandFieldMacros(readFile(path))
      -- Fixed fields of union-selected structures: using S_ = T; ... fields[] = {...}
      local heads = {}
      for name, at in text:gmatch("using S_ = ([%w_]+);()") do
        local open = text:find("fields%[%]%s*=%s*{", at)
        if open then heads[name] = fieldsOf((balanced(text, text:find("{", open)))) end
      end
      for name, key in text:gmatch('UnionStruct%s+[%w_]+%s*=%s*{{"([%w_]+)".-},%s*"([%w_]+)"') do
        add(name, heads[name] or {}, key)
      end
      local pos = 1
      while true do
        local s, _, name = text:find("\nTESSEL_STRUCT%(([%w_]+),", pos)
        if not s then break end
        local body, close = balanced(text, text:find("%(", s))
        add(name, fieldsOf(body:sub(#name + 2)))
        pos = close
      end
    end
  end
  table.sort(structs, function(a, b) return a.name < b.name end)
  for _, s in ipairs(structs) do
    local members = ctypes[s.name] or {}
    for _, f in ipairs(s.fields) do
      f.ctype = members[f.member]
      f.type = luaType(f.ctype, byName, described)
    end
  end
  return structs
end

-- The page of table forms, in Markdown.
function M.markdown(structs)
  local out = {
    "# Table forms",
    "",
    "Platform structures cross as tables keyed by the platform's field names. On the way in the",
    "structure starts zeroed and a key is taken only when it holds a value of its kind; on the way out",
    "every key is present. Enumerations cross as names (matched without regard to case on the way in)",
    "or as numbers. Structures converted by hand (codec and rate-control selection, audio attributes,",
    "points, sizes and rectangles) are described with the methods that take them.",
    "",
  }
  for _, s in ipairs(structs) do
    out[#out + 1] = "## `" .. s.name .. "`"
    out[#out + 1] = ""
    out[#out + 1] = "| key | type |"
    out[#out + 1] = "|---|---|"
    for _, f in ipairs(s.fields) do
      local key = "`" .. f.key .. "`"
      if f.outKey ~= f.key then key = key .. ' (read back as `"' .. f.outKey .. '"`)' end
      out[#out + 1] = "| " .. key .. " | `" .. f.type:gsub("|", "` or `") .. "` |"
    end
    if s.member then
      out[#out + 1] = "| `" .. s.member .. "` | table: the member the first key selects |"
    end
    out[#out + 1] = ""
  end
  return table.concat(out, "\n")
end

if arg and arg[0] and arg[0]:match("tables%.lua$") then
  local out = arg[2] and assert(io.open(arg[2], "w")) or io.stdout
  out:write(M.markdown(M.scan(arg[1] or ".")))
  out:close()
end

return M
