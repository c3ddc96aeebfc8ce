-- The walkers of the parts of a body that are not one field table: escaped
-- and length-prefixed items, generic tables of type-length-value entries (by
-- their description's cases), value items and records of value entries. The
-- engine's walkers of the descriptions' tails (`bodies.tails`, by the tail's
-- kind) call them with the places the description gives. Each reads through
-- `ctx` (the frame's body, NUL-padded to `ctx.room` bytes as the decoders
-- read it, its declared length `ctx.len` and the tree helpers the dissector
-- provides), reads as far as the decoder does, stops where the decoder
-- would read outside the body and says so, and returns the offset behind
-- what it showed.
local bodies = {}
local tails = {}
bodies.tails = tails

-- Type (2) | length (4) | value entries from `pos`, as the table `t` is
-- read: the list ends quietly where a count is below 1 or a size test fails
-- (`sizeTestBase` plus the bytes the list has taken plus `sizeTestRoom`, and
-- that sum plus the entry's length, must stay within the body). Returns the
-- offset behind the last entry; nil when one would be read outside the body;
-- false and the offset reached where the list ended quietly.
local function entries(ctx, t, tree, pos, n, label)
    if n < 1 then return false, pos end
    local start = pos
    for i = 1, n do
        local tested = t.sizeTestBase + (pos - start) + t.sizeTestRoom
        if tested > ctx.room then return false, pos end
        if pos + 6 > ctx.room then return ctx:past(tree, label .. " " .. i) end
        local length = ctx:int(pos + 2, 4)
        if tested + length > ctx.room then return false, pos end
        if length < 0 or pos + 6 + length > ctx.room then return ctx:past(tree, label .. " " .. i) end
        local sub = ctx:subtree(tree, "field", pos, 6 + length, label .. " " .. i)
        ctx:add(sub, "field.fieldType", pos, 2, ctx:int(pos, 2))
        ctx:add(sub, "field.fieldLen", pos + 2, 4, length)
        ctx:add(sub, "field.fieldText1", pos + 6, length, ctx:text(ctx:bytes(pos + 6, length)))
        pos = pos + 6 + length
    end
    return pos
end

-- The records `r` describes from `pos`, `n` of them: each a field count (4)
-- and its entries, up to the first whose entries end quietly. With
-- `whereItems`, each record carries one where-item entry (the last record:
-- where-items up to the body length), and records stop quietly where a field
-- count would pass the body length.
local function records(ctx, t, r, tree, pos, n)
    local where = r.whereItems
    for i = 1, n do
        if pos + 4 > (where and ctx.len or ctx.room) then
            return (where or r.countEndsQuietly) and pos or ctx:past(tree, "record " .. i)
        end
        local sub = ctx:subtree(tree, "record", pos, 4, "Record " .. i)
        local fields = ctx:int(pos, 4)
        ctx:add(sub, "count", pos, 4, fields)
        local after, reached = pos + 4, nil
        if fields ~= 0 or not where then after, reached = entries(ctx, t, sub, after, fields, "Field") end
        if after and where then
            repeat
                after, reached = entries(ctx, t, sub, after, 1, "Where-item")
            until not after or i < n or after >= ctx.len
        end
        if after == false then return reached end
        if not after then return nil end
        ctx:extend(sub, pos, after - pos)
        pos = after
    end
    return pos
end

function bodies.escaped_items(ctx, part, tree)
    local pos = part.at
    for i = 1, ctx:int(part.countAt, part.countWidth) do
        if pos + 16 > ctx.room then return ctx:past(tree, "item " .. i) end
        local sub = ctx:subtree(tree, "item", pos, 16, "Item " .. i)
        ctx:add(sub, "item.itemId", pos, 8, ctx:int(pos, 8))
        if ctx:bytes(pos + 8, 3) == "$$$" then
            ctx:add(sub, "item.escape", pos + 8, 3, "$$$")
            local length = ctx:int(pos + 11, 5)
            ctx:add(sub, "item.length", pos + 11, 5, length)
            -- Where the id cuts long texts only the first textCut bytes are
            -- carried; the next item still starts behind the declared length.
            local carried = length
            if part.textCut and carried > part.textCut then carried = part.textCut end
            if length < 0 or pos + 16 + carried > ctx.room then return ctx:past(sub, "item " .. i .. " text") end
            ctx:add(sub, "item.itemText", pos + 16, carried, ctx:text(ctx:bytes(pos + 16, carried), true))
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
        if pos + 12 > ctx.room then return ctx:past(tree, "item " .. i) end
        local sub = ctx:subtree(tree, "item", pos, 8, "Item " .. i)
        ctx:add(sub, "item.itemId", pos, 8, ctx:int(pos, 8))
        local at = pos + 8
        for _, member in ipairs({"itemText", "itemText2"}) do
            if at + 4 > ctx.room then return ctx:past(sub, "item " .. i .. " " .. member) end
            local length = ctx:int(at, 4)
            ctx:add(sub, "item.length", at, 4, length)
            if length < 0 or at + 4 + length > ctx.room then return ctx:past(sub, "item " .. i .. " " .. member) end
            ctx:add(sub, "item." .. member, at + 4, length, ctx:text(ctx:bytes(at + 4, length), true))
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
        local finish, reached = entries(ctx, t, tree, c.at, 1, "Where-item")
        return finish == false and reached or finish
    end
    local count_at = c.step == "records" and c.records.countAt or t.countAt
    local count = ctx:int(count_at, 4)
    ctx:add(tree, "count", count_at, 4, count)
    if c.step == "records" then return records(ctx, t, c.records, tree, c.records.recordsAt, count), count end
    local pos, reached = entries(ctx, t, tree, count_at + 4, count, "Field")
    if pos == false then
        -- Fields that end quietly end the record; none at all: the where-items follow the count.
        if count >= 1 or not c.first.whereItems then return reached, count end
        pos = count_at + 4
    end
    if not c.first.whereItems or not pos then return pos, count end
    local where = ctx:int(pos, 2)
    ctx:add(tree, "count", pos, 2, where)
    local finish
    finish, reached = entries(ctx, t, tree, pos + 2, where, "Where-item")
    return finish == false and reached or finish, count
end

-- The member the value bytes of an item fill, by the owner of its head.
local VALUE_KEYS = {item = "item.itemText2", field = "field.fieldText2"}

-- `n` value items from `pos` as the description lays them out: a head read
-- by its fields, then, where the head holds a width, the value: all its
-- bytes, or a text up to its first NUL (which the decoder reads too). The
-- next item starts behind the value, or behind the head where the decoder
-- steps by the head alone. Returns the offset behind the furthest read.
local function value_items(ctx, t, tree, pos, n, label)
    local owner = t.headReadFields[1].owner
    local finish = pos
    for i = 1, n do
        if pos + t.itemHead > ctx.room then return ctx:past(tree, label .. " " .. i) end
        local sub = ctx:subtree(tree, owner, pos, t.itemHead, label .. " " .. i)
        ctx:fields(sub, t.headReadFields, pos)
        local at, width = pos + t.itemHead, 0
        if t.widthAt then
            width = ctx:int(pos + t.widthAt, t.widthWidth)
            local room = ctx.room - at
            local shown = width
            if t.read ~= "bytes" and width >= 0 then
                local nul = ctx:bytes(at, math.min(width, room)):find("%z")
                shown = nul or width
            end
            if width < 0 or shown > room then return ctx:past(sub, label .. " " .. i .. " value") end
            ctx:add(sub, VALUE_KEYS[owner], at, shown, ctx:text(ctx:bytes(at, shown), t.read ~= "bytes"))
            ctx:extend(sub, pos, t.itemHead + shown)
            finish = math.max(finish, at + shown)
        end
        pos = at + (t.step == "over-value" and width or 0)
        finish = math.max(finish, pos)
    end
    return finish
end

-- Value items: a count, then the items.
function tails.values(ctx, t, tree, from)
    local count = ctx:int(t.countAt, t.countWidth)
    ctx:add(tree, "count", t.countAt, t.countWidth, count)
    return value_items(ctx, t, tree, t.itemsAt, count, "Item"), count
end

-- Records of value entries: a count of records, each an entry count, then
-- that many entries laid out as value items.
tails["value-records"] = function(ctx, t, tree, from)
    local count = ctx:int(t.countAt, t.countWidth)
    ctx:add(tree, "count", t.countAt, t.countWidth, count)
    local pos = t.itemsAt
    for i = 1, count do
        if pos + t.entryCountWidth > ctx.room then return ctx:past(tree, "structure " .. i), count end
        local sub = ctx:subtree(tree, "record", pos, t.entryCountWidth, "Structure " .. i)
        local attributes = ctx:int(pos, t.entryCountWidth)
        ctx:add(sub, "count", pos, t.entryCountWidth, attributes)
        local after = value_items(ctx, t, sub, pos + t.entryCountWidth, attributes, "Attribute")
        if not after then return nil, count end
        ctx:extend(sub, pos, after - pos)
        pos = after
    end
    return pos, count
end

return bodies
