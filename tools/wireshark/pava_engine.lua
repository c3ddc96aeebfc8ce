-- The frame dissector: header, the fixed fields of LAYOUTS and the tail each
-- description reads behind them (`bodies`), TCP reassembly by the header's
-- body length, the port preference, Decode As and the heuristic.
local MAX_BODY = 8192
-- Where the compiled plugin is loaded (it is built for one Wireshark
-- version), it dissects PAVA and this file steps aside.
local compiled_ok, compiled = pcall(Dissector.get, "pava")
if compiled_ok and compiled then return end
local HEAD = 16

local pava = Proto("pava", "PAVA")

local hf = {
    rii = ProtoField.int32("pava.rii", "RII"),
    id = ProtoField.uint32("pava.id", "Message id"),
    type = ProtoField.int32("pava.type", "Type (frame count)"),
    length = ProtoField.int32("pava.length", "Body length"),
    flag = ProtoField.int32("pava.flag", "Flag (frame number)"),
    cont = ProtoField.string("pava.cont", "Continuation"),
    family = ProtoField.string("pava.family", "Family"),
    first = ProtoField.framenum("pava.first", "First frame of the message"),
    count = ProtoField.int32("pava.count", "Count"),
    code = ProtoField.string("pava.fbCodes", "fbCodes"),
    item = ProtoField.bytes("pava.item", "Item"),
    record = ProtoField.bytes("pava.record", "Record"),
    field = ProtoField.bytes("pava.field", "Field"),
    tail = ProtoField.bytes("pava.tail", "Bytes behind the layout"),
    junk = ProtoField.bytes("pava.junk", "Not a frame", base.NONE, nil, nil, "Bytes before the next plausible header"),
    ["item.length"] = ProtoField.int32("pava.item.length", "Text length"),
    ["item.escape"] = ProtoField.string("pava.item.escape", "Escape"),
    ["record.recInt"] = ProtoField.int32("pava.record.recInt", "recInt"),
}
-- One field per member: record members as pava.<member>, list items and
-- settings as pava.item.<member>, table entries as pava.field.<member>.
local PREFIX = {record = "pava.", item = "pava.item.", setting = "pava.item.", field = "pava.field."}
-- Members whose numbers are stored in 16 bits, which keep what they read modulo 2^16.
local SHORT = {}
for _, m in ipairs(MEMBERS) do
    SHORT[m.name] = m.bits == 16
    local key = (m.owner == "setting" and "item" or m.owner) .. "." .. m.name
    local abbr = PREFIX[m.owner] .. m.name
    hf[key] = m.number and ProtoField.int32(abbr, m.name) or ProtoField.string(abbr, m.name)
end
local list = {}
for _, f in pairs(hf) do list[#list + 1] = f end
pava.fields = list

local ef = {
    too_long = ProtoExpert.new("pava.length.too_long", "Body length over the maximum of 8192",
                               expert.group.MALFORMED, expert.severity.ERROR),
    no_layout = ProtoExpert.new("pava.id.unknown", "No layout for this id: body shown as bytes",
                                expert.group.UNDECODED, expert.severity.WARN),
    past = ProtoExpert.new("pava.body.past", "A count or length points past the body",
                           expert.group.MALFORMED, expert.severity.WARN),
    behind = ProtoExpert.new("pava.body.behind", "Read behind the declared length, where the body holds NULs",
                             expert.group.PROTOCOL, expert.severity.NOTE),
    failed = ProtoExpert.new("pava.failed", "Frame could not be dissected",
                             expert.group.MALFORMED, expert.severity.ERROR),
    junk = ProtoExpert.new("pava.junk.bytes", "Bytes that are not a frame",
                           expert.group.MALFORMED, expert.severity.WARN),
}
pava.experts = {ef.too_long, ef.no_layout, ef.past, ef.behind, ef.failed, ef.junk}

pava.prefs.port = Pref.uint("TCP port", 0, "TCP port of PAVA traffic (0: none; Decode As works on any port)")
pava.prefs.heuristic = Pref.bool("Look for PAVA on any TCP port", false,
                                 "Try the heuristic dissector on TCP traffic of other protocols")

-- readIntField: blanks skipped, a sign, digits up to the first other byte,
-- saturated at the 32-bit range; fields wider than 16 read 0.
local function decimal(s, at, width)
    if width <= 0 or width > 16 then return 0 end
    local p, e = at + 1, at + width
    while p <= e do
        local c = s:byte(p)
        if c ~= 32 and (c < 9 or c > 13) then break end
        p = p + 1
    end
    local negative = false
    if p <= e and (s:byte(p) == 43 or s:byte(p) == 45) then
        negative = s:byte(p) == 45
        p = p + 1
    end
    local limit = negative and 2147483648 or 2147483647
    local acc = 0
    while p <= e do
        local c = s:byte(p)
        if c < 48 or c > 57 then break end
        acc = math.min(acc * 10 + c - 48, limit)
        p = p + 1
    end
    return negative and -acc or acc
end

-- The type digits of positions 8 and 14, as the header reader gives them.
local function type_digit(c)
    if c >= 48 and c <= 57 then return c - 48 end
    if c >= 65 and c <= 70 then return c - 55 end
    if c >= 97 and c <= 102 then return c - 87 end
    return c >= 128 and c - 256 or c
end

-- Bytes as `pava dissect` shows them: printable ASCII, '\\' and '"' escaped,
-- any other byte as \xNN.
local function escaped(s)
    return (s:gsub('[%c\\"\128-\255]', function(c)
        if c == "\\" or c == '"' then return "\\" .. c end
        return string.format("\\x%02x", c:byte())
    end))
end

local Ctx = {}
Ctx.__index = Ctx

function Ctx:int(at, width) return decimal(self.body, at, width) end
function Ctx:bytes(at, n) return self.body:sub(at + 1, at + n) end
-- A stored text: up to its first NUL when the copy is bounded, padding dropped.
function Ctx:text(s, to_nul)
    if to_nul then s = s:match("^[^%z]*") end
    return escaped((s:gsub("%z+$", "")))
end
-- The part of [at, at + n) inside the declared body, for highlighting.
function Ctx:range(at, n)
    local from = math.min(math.max(at, 0), self.len)
    local to = math.min(math.max(at + n, from), self.len)
    return self.tvb(self.base + from, to - from)
end
-- A read shown with its value. The decoders read the frame's whole body
-- buffer, NULs behind the declared length, and so do the walkers: the first
-- read that ends past the declared length gets a note. It is no fault of the
-- frame (several encoders send less than their decoders read), so the frame
-- is not marked malformed for it.
function Ctx:add(tree, key, at, n, value)
    local item = tree:add(hf[key], self:range(at, n), value)
    if at + n > self.len and not self.beyond then
        self.beyond = true
        item:add_proto_expert_info(ef.behind, "Read behind the declared length: " .. key .. " at byte " .. at)
    end
    return item
end
function Ctx:subtree(tree, kind, at, n, label)
    local t = tree:add(hf[kind], self:range(at, n))
    t:set_text(label)
    return t
end
function Ctx:extend(tree, at, n) tree:set_len(self:range(at, n):len()) end
function Ctx:past(tree, what)
    tree:add_proto_expert_info(ef.past, "A count or length points past the body: " .. what)
    self.malformed = true
    return nil
end

local function field_value(ctx, f, base)
    local at = base + f.offset
    if at + f.width > MAX_BODY then return nil end
    if f.number then
        local n = ctx:int(at, f.width)
        return f.member and SHORT[f.member] and n % 65536 or n
    end
    return ctx:text(ctx:bytes(at, f.keeps), f.kind == "text")
end

-- The fields of a table read from an object at `base`; their values go to
-- `values` by member where given. Returns the offset behind the last one.
function Ctx:fields(tree, fields, base, values)
    local finish = base
    for _, f in ipairs(fields) do
        local value = field_value(self, f, base)
        local key = f.member and ((f.owner == "setting" and "item" or f.owner) .. "." .. f.member) or "count"
        local at = base + f.offset
        if value == nil then
            self:past(tree, (f.member or "count") .. " at byte " .. at)
        else
            self:add(tree, key, at, f.width, value)
            if values and f.member then values[f.member] = value end
        end
        finish = math.max(finish, at + f.width)
    end
    return finish
end

local function add_items(ctx, tree, shape)
    local count = shape.countWidth == 0 and 1 or ctx:int(shape.countAt, shape.countWidth)
    local fit = math.floor(math.max(0, MAX_BODY - shape.itemsAt) / shape.itemSize)
    local shown = math.max(0, math.min(count, fit))
    if shown < count then ctx:past(tree, count .. " items, " .. shown .. " within the body") end
    for i = 1, shown do
        local at = shape.itemsAt + (i - 1) * shape.itemSize
        ctx:fields(ctx:subtree(tree, "item", at, shape.itemSize, "Item " .. i), shape.itemReadFields, at)
    end
    local finish = shape.itemsAt + shown * shape.itemSize
    if shown >= count and #shape.trailer > 0 then
        finish = ctx:fields(tree, shape.trailer, finish, ctx.values)
    end
    return finish, count
end

-- The tails of the descriptions, walked as their decoders read them: each
-- returns the offset behind what it showed (`from` when it shows nothing)
-- and the count it read. The table walker is in `bodies`.
local tails = bodies.tails

-- The items of a list in one frame or split over frames, by their format.
function tails.items(ctx, t, tree, from)
    if t.format == "items" then
        return add_items(ctx, tree, {countAt = t.countAt, countWidth = t.countWidth, itemsAt = t.itemsAt,
                                     itemSize = t.itemSize, itemReadFields = t.itemReadFields,
                                     trailer = t.trailerRead and t.trailer or {}})
    end
    local count = ctx:int(t.countAt, t.countWidth)
    local walk = t.format == "escaped-items" and bodies.escaped_items or bodies.prefixed_items
    local finish = walk(ctx, {at = t.itemsAt, countAt = t.countAt, countWidth = t.countWidth, textCut = t.textCut}, tree)
    if finish and finish <= MAX_BODY and t.trailerRead and #t.trailer > 0 then
        finish = ctx:fields(tree, t.trailer, finish, ctx.values)
    end
    return finish, count
end
tails["split-items"] = tails.items

-- Rows of one size, counted by a decimal in the frame or by a member the
-- fixed fields carry, at most `limit` bytes of them: settings as items, code
-- rows as texts.
function tails.rows(ctx, t, tree, from)
    local count = t.countAt and ctx:int(t.countAt, t.countWidth) or ctx.values[t.countMember] or 0
    local pos = t.first
    for i = 1, count do
        if i * t.stride > t.limit then
            return ctx:past(tree, "row " .. i .. " (at most " .. math.floor(t.limit / t.stride) .. ")"), count
        end
        if t.list == "settingList" then
            ctx:fields(ctx:subtree(tree, "item", pos, t.stride, "Setting " .. i), t.fields, pos)
        else
            for _, f in ipairs(t.fields) do
                ctx:add(tree, "code", pos + f.offset, f.width, ctx:text(ctx:bytes(pos + f.offset, f.width), f.kind == "text"))
            end
        end
        pos = pos + t.stride
    end
    return pos, count
end

-- Record blocks: a number, an entry count and that many entries each.
function tails.records(ctx, t, tree, from)
    local count = ctx:int(t.countAt, t.countWidth)
    local head = t.numberWidth + t.entryCountWidth
    local pos = t.first
    for i = 1, count do
        if pos + head > MAX_BODY then return ctx:past(tree, "record " .. i), count end
        local n = ctx:int(pos + t.numberWidth, t.entryCountWidth)
        local sub = ctx:subtree(tree, "record", pos, head + t.entrySize * math.max(n, 0), "Record " .. i)
        ctx:add(sub, "record.recInt", pos, t.numberWidth, ctx:int(pos, t.numberWidth))
        ctx:add(sub, "count", pos + t.numberWidth, t.entryCountWidth, n)
        local at = pos + head
        for k = 1, n do
            if at + t.entrySize > MAX_BODY then return ctx:past(sub, "record " .. i .. " field " .. k), count end
            ctx:fields(ctx:subtree(sub, "field", at, t.entrySize, "Field " .. k), t.entryReadFields, at)
            at = at + t.entrySize
        end
        pos = at
    end
    return pos, count
end

-- A text from `at` up to the body length, at most `cap` bytes, unless the
-- fixed fields hold it. A length taken unsigned wraps to the cap where the
-- body ends before `at`; a bounded one refuses such a body; a text sized by
-- what the record held on entry is empty in a fresh decode.
function tails.text(ctx, t, tree, from)
    if ctx.values[t.member] ~= nil then return from end
    local n = ctx.len - t.at
    if t.length == "on-entry" then
        n = 0
    elseif t.length == "unsigned" and n < 0 then
        n = t.cap
    elseif t.length == "bounded" and (n < 0 or n > t.cap) then
        return ctx:past(tree, t.member .. " of " .. n .. " bytes")
    end
    n = math.min(n, t.cap)
    if n < 1 and t.length ~= "on-entry" then return from end
    ctx:add(tree, "record." .. t.member, t.at, n, ctx:text(ctx:bytes(t.at, n)))
    return t.at + n
end

-- Frames of one split message share the address pair, id and RII; the first
-- is the one numbered 1 (or the first seen).
local first_frames = {}
local message_first = {}

local function link(pinfo, tree, id, rii, k, n, offset)
    if n <= 1 and k <= 1 then return end
    local frame_key = pinfo.number .. ":" .. offset
    if not pinfo.visited then
        local key = table.concat({tostring(pinfo.src), pinfo.src_port, tostring(pinfo.dst), pinfo.dst_port, id, rii}, "/")
        if k <= 1 or first_frames[key] == nil then first_frames[key] = pinfo.number end
        message_first[frame_key] = first_frames[key]
    end
    if message_first[frame_key] then tree:add(hf.first, message_first[frame_key]):set_generated() end
end

-- The fixed fields the decoder reads, then the tail its description reads
-- behind them; bytes no read reaches are shown as the tail.
local function dissect_body(ctx, tree, layout)
    local finish = ctx:fields(tree, layout.readFields, 0, ctx.values)
    local count
    local tail = layout.description and layout.description.read
    local walk = tail and bodies.tails[tail.kind]
    if walk then
        finish, count = walk(ctx, tail, tree, finish)
        finish = finish or ctx.len
    end
    -- (A body of another length than its fixed layout's is not taken for a frame.)
    if finish < ctx.len then tree:add(hf.tail, ctx:range(finish, ctx.len - finish)) end
    return count
end

-- One frame of `blen` body bytes at `offset`; returns its Info text.
local function dissect_frame(tvb, pinfo, root, offset, blen, declared)
    local head = tvb:raw(offset, HEAD)
    local tree = root:add(pava, tvb(offset, HEAD + blen))
    local id = decimal(head, 3, 5)
    local rii = decimal(head, 0, 3)
    local n, k = type_digit(head:byte(9)), type_digit(head:byte(15))
    tree:add(hf.rii, tvb(offset, 3), rii)
    tree:add(hf.id, tvb(offset + 3, 5), id)
    tree:add(hf.type, tvb(offset + 8, 1), n)
    local lt = tree:add(hf.length, tvb(offset + 9, 5), declared)
    tree:add(hf.flag, tvb(offset + 14, 1), k)
    local cont = head:sub(16, 16)
    tree:add(hf.cont, tvb(offset + 15, 1), escaped(cont)):append_text(cont == "1" and " (more follows)" or " (last)")
    if declared > MAX_BODY then lt:add_proto_expert_info(ef.too_long) end
    local layout = LAYOUTS[id]
    local info = string.format("%05d", id)
    if n > 1 or k > 1 then info = info .. string.format(", frame %d of %d", k, n) end
    if layout == nil then
        tree:add_proto_expert_info(ef.no_layout)
        if blen > 0 then tree:add(hf.tail, tvb(offset + HEAD, blen)) end
        return info .. " (no layout)"
    end
    tree:add(hf.family, layout.family):set_generated()
    tree:append_text(string.format(", %05d (%s)", id, layout.family))
    info = string.format("%05d %s", id, layout.family) .. info:sub(6)
    link(pinfo, tree, id, rii, k, n, offset)
    local ctx = setmetatable({tvb = tvb, base = offset + HEAD, len = blen, room = MAX_BODY, id = id, values = {},
                              body = tvb:raw(offset + HEAD, blen) .. string.rep("\0", MAX_BODY - blen)}, Ctx)
    local ok, count = pcall(dissect_body, ctx, tree, layout)
    if not ok then
        tree:add_proto_expert_info(ef.failed, "Frame could not be dissected: " .. tostring(count))
        return info .. " [malformed]"
    end
    if count then info = info .. string.format(", %d item%s", count, count == 1 and "" or "s") end
    if ctx.malformed then info = info .. " [malformed]" end
    return info
end

-- The body length the header declares (its own characters only), and
-- whether it is within what the codecs produce.
local function body_length(tvb, offset)
    local declared = decimal(tvb:raw(offset, HEAD), 9, 7)
    return declared, math.max(0, math.min(declared, MAX_BODY))
end

-- A header the codecs' stream readers trust: RII digits, blanks or NULs; a
-- five-digit id; a body length of an optional '-', digits, then blanks, at
-- most a whole frame, and for an id whose layout has one length exactly
-- that; continuation '0' or '1'. Fewer bytes: whether they can begin one.
local PREFIX = {"[%d %z]", "[%d %z]", "[%d %z]", "%d", "%d", "%d", "%d", "%d", ".", "[%d%-]", "[%d ]", "[%d ]",
                "[%d ]", "[%d ]", ".", "[01]"}
local function plausible(h)
    for i = 1, #h do
        if not h:sub(i, i):match(PREFIX[i]) then return false end
    end
    if #h < HEAD then return true end
    local sign, digits = h:sub(10, 14):match("^(%-?)(%d+) *$")
    if not digits then return false end
    local length = tonumber(digits) * (sign == "-" and -1 or 1)
    local layout = LAYOUTS[tonumber(h:sub(4, 8))]
    return length <= MAX_BODY + HEAD and (layout == nil or layout.length == nil or layout.length == length)
end

-- The first place at or after `from` (1-based) in s where a header can begin.
local function next_header(s, from)
    local at = from
    while true do
        at = s:find("[%d %z][%d %z][%d %z]%d%d%d%d%d", at)
        if at == nil then break end
        if plausible(s:sub(at, at + HEAD - 1)) then return at end
        at = at + 1
    end
    for i = math.max(from, #s - 6), #s do  -- a header cut by the end
        if plausible(s:sub(i)) then return i end
    end
    return #s + 1
end

function pava.dissector(tvb, pinfo, root)
    local total = tvb:len()
    local offset = 0
    local infos = {}
    local data  -- the whole segment, taken once at its first junk run
    while offset < total do
        local left = total - offset
        if not plausible(tvb:raw(offset, math.min(left, HEAD))) then
            data = data or tvb:raw(0, total)
            local next = next_header(data, offset + 2) - 1
            root:add(hf.junk, tvb(offset, next - offset)):add_proto_expert_info(ef.junk)
            infos[#infos + 1] = "[not a frame]"
            offset = next
        elseif left < HEAD then
            pinfo.desegment_offset = offset
            pinfo.desegment_len = DESEGMENT_ONE_MORE_SEGMENT
            break
        else
            local declared, blen = body_length(tvb, offset)
            if left < HEAD + blen then
                pinfo.desegment_offset = offset
                pinfo.desegment_len = HEAD + blen - left
                break
            end
            local ok, info = pcall(dissect_frame, tvb, pinfo, root, offset, blen, declared)
            if not ok then
                root:add_proto_expert_info(ef.failed, "Frame could not be dissected: " .. tostring(info))
                info = "[malformed]"
            end
            infos[#infos + 1] = info
            offset = offset + HEAD + blen
        end
    end
    if #infos > 0 then
        pinfo.cols.protocol = "PAVA"
        pinfo.cols.info = table.concat(infos, " | ")
    end
    return total
end

-- A header of an id with a layout; a segment that ends inside the header
-- is judged by its first 8 bytes.
local function looks_like_header(tvb)
    if tvb:len() < 8 then return false end
    local h = tvb:raw(0, math.min(tvb:len(), HEAD))
    return plausible(h) and LAYOUTS[tonumber(h:sub(4, 8))] ~= nil
end

local function heuristic(tvb, pinfo, root)
    if not pava.prefs.heuristic or not looks_like_header(tvb) then return false end
    pava.dissector(tvb, pinfo, root)
    pinfo.conversation = pava
    return true
end

local tcp_port = DissectorTable.get("tcp.port")
tcp_port:add_for_decode_as(pava)
local current_port = 0
function pava.prefs_changed()
    if current_port ~= 0 then tcp_port:remove(current_port, pava) end
    current_port = pava.prefs.port
    if current_port ~= 0 then tcp_port:add(current_port, pava) end
end
pava:register_heuristic("tcp", heuristic)
