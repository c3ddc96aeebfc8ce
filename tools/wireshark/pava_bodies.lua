-- The walkers of the parts of a body that are not one field table: texts up
-- to the body length, escaped and length-prefixed items, generic tables of
-- type-length-value entries (by their description's cases), reference and
-- value items, records of value entries. The engine's walkers of the
-- descriptions' tails (`bodies.tails`, by the tail's kind) call them with
-- the places the description gives. Each reads through `ctx` (the frame's
-- body, its declared length and the tree helpers the dissector provides),
-- stops where a count or length points past the declared body and says so,
-- and returns the offset behind what it showed.
local bodies = {}
local tails = {}
bodies.tails = tails

-- Type (2) | length (4) | value entries; returns the offset behind the last
-- one, or nil when one runs past the body.
local function entries(ctx, tree, pos, n, label)
    for i = 1, n do
        if pos + 6 > ctx.len then return ctx:past(tree, label .. " " .. i) end
        local length = ctx:int(pos + 2, 4)
        if length < 0 or pos + 6 + length > ctx.len then return ctx:past(tree, label .. " " .. i) end
        local sub = ctx:subtree(tree, "field", pos, 6 + length, label .. " " .. i)
        ctx:add(sub, "field.fieldType", pos, 2, ctx:int(pos, 2))
        ctx:add(sub, "field.fieldLen", pos + 2, 4, length)
        ctx:add(sub, "field.fieldText1", pos + 6, length, ctx:text(ctx:bytes(pos + 6, length)))
        pos = pos + 6 + length
    end
    return pos
end

-- Records of a field count (4) and its entries; `where` adds one where-item
-- entry per record (the last record: where-items up to the body length).
local function records(ctx, tree, pos, n, where)
    for i = 1, n do
        if pos + 4 > ctx.len then return ctx:past(tree, "record " .. i) end
        local sub = ctx:subtree(tree, "record", pos, 4, "Record " .. i)
        local fields = ctx:int(pos, 4)
        ctx:add(sub, "count", pos, 4, fields)
        local after = pos + 4
        if fields > 0 then after = entries(ctx, sub, after, fields, "Field") end
        if after and where then
            repeat
                after = entries(ctx, sub, after, 1, "Where-item")
            until not after or i < n or after >= ctx.len
        end
        if not after then return nil end
        ctx:extend(sub, pos, after - pos)
        pos = after
    end
    return pos
end

function bodies.text(ctx, part, tree)
    local n = math.max(0, ctx.len - part.at)
    ctx:add(tree, "record." .. part.member, part.at, n, ctx:text(ctx:bytes(part.at, n)))
    return part.at + n
end

function bodies.escaped_items(ctx, part, tree)
    local pos = part.at
    for i = 1, ctx:int(part.countAt, part.countWidth) do
        if pos + 16 > ctx.len then return ctx:past(tree, "item " .. i) end
        local sub = ctx:subtree(tree, "item", pos, 16, "Item " .. i)
        ctx:add(sub, "item.itemId", pos, 8, ctx:int(pos, 8))
        if ctx:bytes(pos + 8, 3) == "$$$" then
            local length = ctx:int(pos + 11, 5)
            ctx:add(sub, "item.length", pos + 11, 5, length)
            -- Where the id cuts long texts only the first textCut bytes are
            -- carried; the next item still starts behind the declared length.
            local carried = length
            if part.textCut and carried > part.textCut then carried = part.textCut end
            if length < 0 or pos + 16 + carried > ctx.len then return ctx:past(sub, "item " .. i .. " text") end
            ctx:add(sub, "item.itemText", pos + 16, carried, ctx:text(ctx:bytes(pos + 16, carried)))
            ctx:extend(sub, pos, 16 + carried)
            pos = pos + 16 + length
        else
            ctx:add(sub, "item.itemText", pos + 8, 8, ctx:text(ctx:bytes(pos + 8, 8), true))
            pos = pos + 16
        end
    end
    return pos
end

function bodies.prefixed_items(ctx, part, tree)
    local pos = part.at
    for i = 1, ctx:int(part.countAt, part.countWidth) do
        if pos + 12 > ctx.len then return ctx:past(tree, "item " .. i) end
        local sub = ctx:subtree(tree, "item", pos, 8, "Item " .. i)
        ctx:add(sub, "item.itemId", pos, 8, ctx:int(pos, 8))
        local at = pos + 8
        for _, member in ipairs({"itemText", "itemText2"}) do
            if at + 4 > ctx.len then return ctx:past(sub, "item " .. i .. " " .. member) end
            local length = ctx:int(at, 4)
            ctx:add(sub, "item.length", at, 4, length)
            if length < 0 or at + 4 + length > ctx.len then return ctx:past(sub, "item " .. i .. " " .. member) end
            ctx:add(sub, "item." .. member, at + 4, length, ctx:text(ctx:bytes(at + 4, length)))
            at = at + 4 + length
        end
        ctx:extend(sub, pos, at - pos)
        pos = at
    end
    return pos
end

-- The case of a table the frame's function type (intValue14) and sub-type
-- (intValue16) choose: the first whose ranges take both (nil: an open end).
local function table_case(t, fn, sub)
    for _, c in ipairs(t.cases) do
        if (c.fnLo == nil or fn >= c.fnLo) and (c.fnHi == nil or fn <= c.fnHi) and
           (c.subLo == nil or sub >= c.subLo) and (c.subHi == nil or sub <= c.subHi) then
            return c
        end
    end
end

-- A table tail of the description, as the decoder reads it: the chosen
-- case's step. Returns the offset behind what it showed (`from` when the
-- step reads nothing) and the count it read.
function tails.table(ctx, t, tree, from)
    local c = table_case(t, ctx.values.intValue14 or 0, ctx.values.intValue16 or 0)
    if c == nil or c.step == "nothing" or c.step == "refuse" or c.step == "prefix-only" then return from end
    if c.step == "digit" then
        ctx:add(tree, "record.intValue4", c.at, 1, ctx:int(c.at, 1))
        return c.at + 1
    elseif c.step == "where-item" then
        return entries(ctx, tree, c.at, 1, "Where-item")
    end
    local count_at = c.step == "records" and c.records.countAt or t.countAt
    local count = ctx:int(count_at, 4)
    ctx:add(tree, "count", count_at, 4, count)
    if c.step == "records" then return records(ctx, tree, c.records.recordsAt, count, c.records.whereItems), count end
    local pos = entries(ctx, tree, count_at + 4, count, "Field")
    if not c.first.whereItems or not pos or pos + 2 > ctx.len then return pos, count end
    local where = ctx:int(pos, 2)
    ctx:add(tree, "count", pos, 2, where)
    return entries(ctx, tree, pos + 2, where, "Where-item"), count
end

-- Reference (100) | code (2) | width W (4) | W value bytes, per item or
-- attribute; `keys` names the four fields.
local ITEM_KEYS = {"item.itemText", "item.itemId", "item.itemInt2", "item.itemText2"}
local ATTRIBUTE_KEYS = {"field.fieldText1", "field.fieldType", "field.fieldLen", "field.fieldText2"}

-- `stride`: items that many bytes apart, the value bytes not skipped (as a
-- decoder that steps by the head reads them; its values are texts up to
-- their first NUL).
local function reference_items(ctx, tree, pos, n, label, keys, stride)
    for i = 1, n do
        if pos + 106 > ctx.len then return ctx:past(tree, label .. " " .. i) end
        local width = ctx:int(pos + 102, 4)
        local sub = ctx:subtree(tree, keys == ITEM_KEYS and "item" or "field", pos, 106, label .. " " .. i)
        ctx:add(sub, keys[1], pos, 100, ctx:text(ctx:bytes(pos, 100), true))
        ctx:add(sub, keys[2], pos + 100, 2, ctx:int(pos + 100, 2))
        ctx:add(sub, keys[3], pos + 102, 4, width)
        if width < 0 or pos + 106 + width > ctx.len then return ctx:past(sub, label .. " " .. i .. " value") end
        ctx:add(sub, keys[4], pos + 106, width, ctx:text(ctx:bytes(pos + 106, width), stride ~= nil))
        ctx:extend(sub, pos, 106 + width)
        pos = pos + (stride or 106 + width)
    end
    return pos
end

-- Value items as their description reads them: a decoder that steps by the
-- head alone reads the value bytes as the next items, up to the body end.
function bodies.references(ctx, part, tree)
    local count = ctx:int(part.countAt, part.countWidth)
    ctx:add(tree, "count", part.countAt, part.countWidth, count)
    local finish = reference_items(ctx, tree, part.at, count, "Item", ITEM_KEYS, part.stride)
    return part.stride and finish and ctx.len or finish
end

-- Records of value entries: an entry count, then that many entries laid out
-- as value items.
tails["value-records"] = function(ctx, t, tree, from)
    local count = ctx:int(t.countAt, t.countWidth)
    ctx:add(tree, "count", t.countAt, t.countWidth, count)
    local pos = t.itemsAt
    for i = 1, count do
        if pos + t.entryCountWidth > ctx.len then return ctx:past(tree, "structure " .. i), count end
        local sub = ctx:subtree(tree, "record", pos, t.entryCountWidth, "Structure " .. i)
        local attributes = ctx:int(pos, t.entryCountWidth)
        ctx:add(sub, "count", pos, t.entryCountWidth, attributes)
        local after = reference_items(ctx, sub, pos + t.entryCountWidth, attributes, "Attribute", ATTRIBUTE_KEYS)
        if not after then return nil, count end
        ctx:extend(sub, pos, after - pos)
        pos = after
    end
    return pos, count
end

return bodies
