-- What pandoc does with the manual's Markdown on its way to manual pages.

-- Definition lists, which manual pages are built of, are made from bullet lists in which every item
-- begins with a line in bold or code type. In Markdown those read well; pandoc's own form of
-- definition lists does not, where it is not known.

local function IsTerm(block)
  if not block or (block.t ~= "Para" and block.t ~= "Plain") then return false end
  local first = block.content[1]
  return first ~= nil and (first.t == "Strong" or first.t == "Code")
end

function BulletList(list)
  local definitions = {}
  for _, item in ipairs(list.content) do
    if not IsTerm(item[1]) or #item < 2 then return nil end
    local term = table.remove(item, 1)
    table.insert(definitions, { term.content, { item } })
  end
  return pandoc.DefinitionList(definitions)
end

-- Links within a page lead nowhere on paper: only their text stays.
function Link(link)
  if link.target:sub(1, 1) == "#" then return pandoc.Emph(link.content) end
end

-- Columns are as wide as their longest cell. In tables that are too wide for a terminal each is as
-- wide as its longest word, and they share what is left by what they would like to have.

local line_width = 71    -- of the text on a terminal of 80 columns
local writer_width = 70  -- what pandoc multiplies the share of a column with
local gap = 3            -- between columns

-- groff takes a terminal for one long page, which it lengthens where something is kept together. It
-- forgets to for the rows of tables, and warns of each that lies across the end of the page. So the
-- page is lengthened before a table; a row has at most this number of lines.
local row_lines = 8
local function Lengthen(rows)
  return pandoc.RawBlock("man", ".if \\n[cR] .ne " .. rows * row_lines .. "v")
end

-- For every column the width of its longest word and of its longest cell, in characters.
local function Measure(rows, columns)
  local word, cell = {}, {}
  for i = 1, columns do word[i], cell[i] = 1, 1 end
  for _, row in ipairs(rows) do
    for i, content in ipairs(row) do
      local text = pandoc.utils.stringify(content)
      cell[i] = math.max(cell[i], utf8.len(text))
      for each in text:gmatch("%S+") do word[i] = math.max(word[i], utf8.len(each)) end
    end
  end
  return word, cell
end

function Table(wide)
  local simple = pandoc.utils.to_simple_table(wide)
  local columns = #simple.widths
  local rows = { simple.header, table.unpack(simple.rows) }
  local word, cell = Measure(rows, columns)
  local room, wanted = line_width - gap * (columns - 1), 0
  for i = 1, columns do
    room = room - word[i]
    wanted = wanted + cell[i] - word[i]
  end
  for i = 1, columns do
    local share = cell[i] - word[i]
    if wanted > room then share = math.floor(share * math.max(room, 0) / wanted) end
    simple.widths[i] = (word[i] + share) / writer_width
  end
  return { Lengthen(#rows), pandoc.utils.from_simple_table(simple) }
end
