// The description export: what each registered id's codec runs, handed out
// through pava_describe as one stream of tokens (objects and lists opened and
// closed around named numbers, texts and truth values). Every reader of the
// descriptions (`pava layout`, the Python package, the Wireshark dissector
// generator) takes them from this stream, in this one vocabulary.
#include <algorithm>
#include <climits>
#include <span>
#include <vector>

#include "ZMPavaAnalyzerC.h"
#include "body.h"
#include "describe.h"
#include "message.h"
#include "multiframe/item_list.h"
#include "multiframe/splitter.h"
#include "read_trace.h"
#include "table_body.h"

namespace pava {

namespace {

// The token writer: a callback's non-zero answer stops the stream, and every
// token after it is dropped.
class Out {
public:
    Out(pava_desc_fn fn, void* user) noexcept : m_fn(fn), m_user(user) {}

    void object(const char* name = nullptr) { put(PAVA_DESC_OBJECT, name); }
    void list(const char* name = nullptr) { put(PAVA_DESC_LIST, name); }
    void end() { put(PAVA_DESC_END, nullptr); }
    void number(const char* name, int64_t value) { put(PAVA_DESC_NUMBER, name, value); }
    // A number, or none when negative.
    void place(const char* name, int64_t value) { value < 0 ? text(name, nullptr) : number(name, value); }
    void text(const char* name, const char* value) { put(PAVA_DESC_TEXT, name, 0, value); }
    void flag(const char* name, bool value) { put(PAVA_DESC_BOOL, name, value ? 1 : 0); }
    int rc() const noexcept { return m_rc; }

private:
    void put(int token, const char* name, int64_t number = 0, const char* text = nullptr) {
        if (m_rc != 0) return;
        const pava_desc_token t{sizeof(pava_desc_token), token, name, number, text};
        m_rc = m_fn(&t, m_user);
    }

    pava_desc_fn m_fn;
    void* m_user;
    int m_rc = 0;
};

}  // namespace

const char* ownerName(MemberOwner owner) noexcept {
    switch (owner) {
    case MemberOwner::Record: return "record";
    case MemberOwner::Item: return "item";
    case MemberOwner::Setting: return "setting";
    case MemberOwner::Field: return "field";
    case MemberOwner::None: break;
    }
    return nullptr;
}

// The objects are never written: slotOf only finds the member's place in them.
Slot slotIn(Member m) {
    static const PavaFullData rec{};
    static const PavaDataItem item{};
    static const PavaSettingItem setting{};
    static const PavaFieldItem entry{};
    switch (memberOwner(m)) {
    case MemberOwner::Record: return slotOf(const_cast<PavaFullData&>(rec), m);
    case MemberOwner::Item: return slotOf(const_cast<PavaDataItem&>(item), m);
    case MemberOwner::Setting: return slotOf(const_cast<PavaSettingItem&>(setting), m);
    case MemberOwner::Field: return slotOf(const_cast<PavaFieldItem&>(entry), m);
    case MemberOwner::None: break;
    }
    return {};
}

namespace {

void field(Out& out, const Field& f) {
    out.object();
    out.number("offset", f.offset);
    out.number("width", f.width);
    out.text("kind", fieldKindName(f.kind));
    const bool none = f.member == Member::None;
    out.text("member", none ? nullptr : memberName(f.member));
    out.text("owner", none ? nullptr : ownerName(memberOwner(f.member)));
    const Slot slot = none ? Slot{} : slotIn(f.member);
    out.flag("number", none || slot.type == SlotType::Int32 || slot.type == SlotType::UInt16);
    // The bytes of the field the decoder keeps: a character array takes no
    // more than its size, anything else the whole field.
    out.number("keeps", slot.type == SlotType::Chars ? std::min<int>(f.width, slot.size) : f.width);
    out.list("flags");
    if ((f.flags & kClearMember) != 0) out.text(nullptr, "clear");
    if ((f.flags & kWriteZero) != 0) out.text(nullptr, "zero");
    if ((f.flags & kNulPadded) != 0) out.text(nullptr, "nul-padded");
    out.end();
    out.end();
}

void fields(Out& out, const char* name, std::span<const Field> table) {
    out.list(name);
    for (const Field& f : table) field(out, f);
    out.end();
}

const char* marksName(FrameMarks marks) noexcept {
    return marks == FrameMarks::Numbered ? "numbered" : "continuation";
}

const char* repairName(FrameRepair repair) noexcept {
    switch (repair) {
    case FrameRepair::None: return "none";
    case FrameRepair::OwnCount: return "own-count";
    case FrameRepair::CountedBlocks: return "counted-blocks";
    case FrameRepair::SteppedValues: return "stepped-values";
    }
    return "?";
}

const char* fitName(FitRule::Kind kind) noexcept {
    switch (kind) {
    case FitRule::Kind::None: return "none";
    case FitRule::Kind::RunningCount: return "running-count";
    case FitRule::Kind::EntrySpace: return "entry-space";
    case FitRule::Kind::FrameSpace: return "frame-space";
    }
    return "?";
}

const char* listName(Container c) noexcept { return c == Container::None ? nullptr : containerName(c); }

void textTail(Out& out, const TextToEnd& t) {
    out.text("kind", "text");
    out.number("at", t.at);
    out.text("member", memberName(stringMember(t.text)));
    out.number("cap", t.cap);
    out.text("tooLong", t.tooLong);
    out.text("length", textLengthName(t.length));
    out.text("badLength", t.badLength);
    if (t.length == TextLength::OnEntry) out.number("readCap", t.readCap);
}

void rowsTail(Out& out, const Rows& r) {
    out.text("kind", "rows");
    out.text("list", listName(r.list));
    out.place("countAt", r.countAt);
    out.number("countWidth", r.countWidth);
    out.text("countMember", r.countMember == Member::None ? nullptr : memberName(r.countMember));
    out.number("first", r.first);
    out.number("stride", r.stride);
    out.number("limit", r.limit);
    fields(out, "fields", r.fields);
    out.text("tooMany", r.tooMany);
}

void recordsTail(Out& out, const RecordBlocks& r) {
    out.text("kind", "records");
    out.text("list", listName(Container::RecordList));
    out.number("countAt", r.countAt);
    out.number("countWidth", r.countWidth);
    out.number("maxRecords", r.maxRecords);
    out.text("tooManyRecords", r.tooManyRecords);
    out.number("first", r.first);
    out.number("numberWidth", r.numberWidth);
    out.number("entryCountWidth", r.entryCountWidth);
    out.number("maxEntries", r.maxEntries);
    out.text("tooManyEntries", r.tooManyEntries);
    out.number("entrySize", r.entrySize);
    fields(out, "entryFields", r.entryWrite);
    fields(out, "entryReadFields", r.entryRead);
}

void fitRule(Out& out, const char* name, const FitRule& f) {
    out.object(name);
    out.text("rule", fitName(f.kind));
    out.number("start", f.start);
    out.number("step", f.step);
    out.number("limit", f.limit);
    out.number("reserve", f.reserve);
    out.flag("firstItemToo", f.firstItemToo);
    out.end();
}

// The items of a list body, for a one-frame list and a split one alike.
void listItems(Out& out, const ListLayout& list) {
    out.text("list", listName(Container::DataList));
    out.text("format", itemKindName(list.item.kind));
    out.place("countAt", list.countAt);
    out.number("countWidth", list.countAt == kNoCount ? 0 : kCountWidth);
    out.number("itemsAt", list.itemsAt);
    out.number("itemSize", list.item.size);
    fields(out, "itemFields", list.item.fields);
    fields(out, "itemReadFields", list.item.readFields());
    out.place("textCut", list.item.textCut == kNoCut ? -1 : list.item.textCut);
    fields(out, "trailer", list.trailer);
    out.number("trailerLength", list.trailerLength);
    out.flag("trailerRead", list.trailerRead);
}

void itemsTail(Out& out, const OneFrameList& l) {
    out.text("kind", "items");
    listItems(out, l.list);
    fitRule(out, "fit", l.fit);
    out.text("tooLong", l.tooLong);
}

void splitTail(Out& out, const SplitItems& s) {
    out.text("kind", "split-items");
    listItems(out, s.list);
    fitRule(out, "fit", s.full);
    out.text("head", s.head == SplitHead::Own ? "own" : "from-record");
    out.flag("trailerWhenEmpty", s.trailerWhenEmpty);
    out.place("frameLogId", s.frameLogId == 0 ? -1 : s.frameLogId);
    out.text("emptyWarning", s.emptyWarning);
    out.text("frameMade", s.frameMade);
    out.text("lastFrameMade", s.lastFrameMade);
    out.text("itemTooLarge", s.itemTooLarge);
    out.text("leave", s.leave);
    out.text("caught", s.caught);
}

const char* valueReadName(ValueRead r) noexcept {
    switch (r) {
    case ValueRead::Bytes: return "bytes";
    case ValueRead::ToNul: return "to-nul";
    case ValueRead::ToNulAndNul: return "to-nul-and-nul";
    }
    return "?";
}

// The keys of value items, behind the tail's kind and list.
void valueKeys(Out& out, const ValueItems& v) {
    out.number("countAt", v.countAt);
    out.number("countWidth", v.countWidth);
    out.number("itemsAt", v.itemsAt);
    out.number("itemHead", v.itemHead);
    fields(out, "headFields", v.headWrite);
    fields(out, "headReadFields", v.headRead);
    out.place("widthAt", v.widthAt);
    out.number("widthWidth", v.widthWidth);
    out.text("frames", v.frames == ValueFrames::One ? "one" : "shared-body");
    out.text("width", v.width == ValueWidth::None ? "none" : v.width == ValueWidth::Member ? "member" : "length");
    out.text("read", valueReadName(v.read));
    out.text("step", v.step == ValueStep::OverValue ? "over-value" : "head-only");
    out.flag("lastCountsOwn", v.lastCountsOwn);
    out.text("tooLong", v.tooLong);
    out.text("headPastBody", v.headPastBody);
    out.text("valuePastBody", v.valuePastBody);
}

void valuesTail(Out& out, const ValueItems& v) {
    out.text("kind", "values");
    out.text("list", listName(Container::DataList));
    valueKeys(out, v);
}

// Records of value entries: the value keys name the record count, the first
// record and each entry.
void valueRecordsTail(Out& out, const ValueRecords& r) {
    out.text("kind", "value-records");
    out.text("list", listName(Container::RecordList));
    out.text("entries", listName(Container::FieldList));
    valueKeys(out, *r.entries);
    out.number("entryCountWidth", r.entryCountWidth);
    out.text("numberPad", r.numberPad == '\0' ? "nul" : "blank");
    out.text("recordTooLong", r.recordTooLong);
}

const char* stepName(TableStep s) noexcept {
    switch (s) {
    case TableStep::Nothing: return "nothing";
    case TableStep::Refuse: return "refuse";
    case TableStep::PrefixOnly: return "prefix-only";
    case TableStep::FirstRecord: return "first-record";
    case TableStep::WhereItem: return "where-item";
    case TableStep::Digit: return "digit";
    case TableStep::Records: return "records";
    }
    return "?";
}

const char* noFieldsName(NoFields n) noexcept {
    switch (n) {
    case NoFields::Prefix: return "prefix";
    case NoFields::Nothing: return "nothing";
    case NoFields::Write: return "write";
    }
    return "?";
}

// A bound of a member's range; an open end is none.
void bound(Out& out, const char* name, int value, int open) {
    if (value == open) return out.text(name, nullptr);
    out.number(name, value);
}

void firstRecord(Out& out, const FirstRecord* f) {
    if (f == nullptr) return out.text("first", nullptr);
    out.object("first");
    out.text("value", f->value == ValueWrite::CString ? "c-string" : "exact");
    out.number("fieldLimit", f->fieldLimit);
    out.text("noFields", noFieldsName(f->noFields));
    out.flag("whereItems", f->whereItems);
    out.text("frameText", f->frameText);
    out.end();
}

void recordFrames(Out& out, const RecordFrames* r) {
    if (r == nullptr) return out.text("records", nullptr);
    out.object("records");
    out.number("countAt", r->countAt);
    out.number("ownCountAt", r->ownCountAt);
    out.number("recordsAt", r->recordsAt);
    out.number("fieldLimit", r->fieldLimit);
    out.number("whereLimit", r->whereLimit);
    out.number("recordLimit", r->recordLimit);
    out.flag("whereItems", r->whereItems);
    out.text("noRecords", r->noRecords == NoRecords::Refuse ? "refuse" : "zero-record");
    out.flag("countEndsQuietly", r->countEndsQuietly);
    out.text("fieldTooLong", r->fieldTooLong);
    out.text("whereTooLong", r->whereTooLong);
    out.text("fieldNoRoom", r->fieldNoRoom);
    out.text("whereNoRoom", r->whereNoRoom);
    out.text("frameText", r->frameText);
    out.text("takenBackAtField", r->takenBackAtField);
    out.text("endText", r->endText);
    out.end();
}

// A table: its cases in order, the first whose ranges take the record's
// function type (intValue14) and sub-type (intValue16) chosen.
void tableTail(Out& out, const Table& t) {
    out.text("kind", "table");
    out.text("list", listName(Container::RecordList));
    out.number("countAt", t.countAt);
    out.text("entry", "type (2) | length (4) | value");
    out.number("sizeTestBase", kEntrySizeTestBase);
    out.number("sizeTestRoom", kEntrySizeTestRoom);
    out.list("cases");
    for (const TableCase& c : t.cases) {
        out.object();
        bound(out, "fnLo", c.fnLo, INT_MIN);
        bound(out, "fnHi", c.fnHi, INT_MAX);
        bound(out, "subLo", c.subLo, INT_MIN);
        bound(out, "subHi", c.subHi, INT_MAX);
        out.text("step", stepName(c.step));
        out.text("text", c.text);
        out.number("at", c.at);
        out.number("limit", c.limit);
        out.flag("inserted", c.inserted);
        firstRecord(out, c.first);
        recordFrames(out, c.records);
        out.end();
    }
    out.end();
}

void tail(Out& out, const char* name, const Tail& t) {
    if (t.empty()) return out.text(name, nullptr);
    out.object(name);
    if (t.text != nullptr) textTail(out, *t.text);
    if (t.rows != nullptr) rowsTail(out, *t.rows);
    if (t.records != nullptr) recordsTail(out, *t.records);
    if (t.items != nullptr) itemsTail(out, *t.items);
    if (t.table != nullptr) tableTail(out, *t.table);
    if (t.split != nullptr) splitTail(out, *t.split);
    if (t.values != nullptr) valuesTail(out, *t.values);
    if (t.valueRecords != nullptr) valueRecordsTail(out, *t.valueRecords);
    out.end();
}

void description(Out& out, const Description* d) {
    if (d == nullptr) return out.text("description", nullptr);
    out.object("description");
    out.text("encodeEntry", d->encodeEntry);
    out.text("decodeEntry", d->decodeEntry);
    out.text("nullFrame", d->nullFrame);
    out.place("alsoDecodeEntryOf", d->alsoDecodeEntryOf == 0 ? -1 : d->alsoDecodeEntryOf);
    out.text("counts", listName(d->counts));
    out.list("quirks");
    for (const QuirkName& q : kQuirkNames)
        if (d->has(q.quirk)) out.text(nullptr, q.name);
    out.end();
    tail(out, "write", d->write);
    tail(out, "read", d->read);
    out.end();
}

void split(Out& out, const SplitRule* s) {
    if (s == nullptr) return out.text("split", nullptr);
    out.object("split");
    out.text("list", listName(s->list));
    out.text("marks", marksName(s->marks));
    out.flag("headFlagTwo", s->headFlagTwo);
    out.text("repair", repairName(s->repair));
    if (s->repair != FrameRepair::None) {
        out.number("countAt", s->countAt);
        out.number("countWidth", s->countWidth);
    }
    if (s->repair == FrameRepair::OwnCount) {
        out.number("ownCountAt", s->ownCountAt);
        out.place("restoreAt", s->restoreAt);
        out.number("restoreWidth", s->restoreWidth);
        out.number("restore", s->restore);
    }
    if (s->repair == FrameRepair::CountedBlocks || s->repair == FrameRepair::SteppedValues) {
        out.number("itemsAt", s->itemsAt);
        out.number("itemHead", s->itemHead);
        out.number("widthAt", s->widthAt);
    }
    out.end();
}

void addMembers(std::vector<Member>& out, std::span<const Field> table) {
    for (const Field& f : table) addMember(out, f.member);
}

void addListMembers(std::vector<Member>& out, const ListLayout& list) {
    addMembers(out, list.prefix);
    addMembers(out, list.item.fields);
    addMembers(out, list.item.readFields());
    // The texts of escaped and length-prefixed items have no field of their own.
    if (list.item.kind != ItemKind::Fixed) addMember(out, Member::itemText);
    if (list.item.kind == ItemKind::Prefixed) addMember(out, Member::itemText2);
    addMembers(out, list.trailer);
}

void addValueMembers(std::vector<Member>& out, const ValueItems& v, Member value) {
    addMembers(out, v.headWrite);
    addMembers(out, v.headRead);
    if (v.width != ValueWidth::None) addMember(out, value);
}

// The members a tail fills: those its field tables name, and those its
// construct fills by itself (the value bytes of value items, a table's
// type-length-value entries).
void addTailMembers(std::vector<Member>& out, const Tail& t) {
    if (t.text != nullptr) addMember(out, stringMember(t.text->text));
    if (t.rows != nullptr) {
        addMember(out, t.rows->countMember);
        addMembers(out, t.rows->fields);
    }
    if (t.records != nullptr) {
        addMembers(out, t.records->entryWrite);
        addMembers(out, t.records->entryRead);
    }
    if (t.items != nullptr) addListMembers(out, t.items->list);
    if (t.split != nullptr) addListMembers(out, t.split->list);
    if (t.values != nullptr) addValueMembers(out, *t.values, Member::itemText2);
    if (t.valueRecords != nullptr) addValueMembers(out, *t.valueRecords->entries, Member::fieldText2);
    if (t.table != nullptr) {
        for (const Member m : {Member::fieldType, Member::fieldLen, Member::fieldText1}) addMember(out, m);
        for (const TableCase& c : t.table->cases)
            if (c.step == TableStep::Digit) addMember(out, Member::intValue4);
    }
}

}  // namespace

void addMember(std::vector<Member>& out, Member m) {
    if (m != Member::None && std::find(out.begin(), out.end(), m) == out.end()) out.push_back(m);
}

std::vector<Member> carriedMembers(const MessageDef& def) {
    std::vector<Member> out;
    addMembers(out, def.layout.fields);
    addMembers(out, def.layout.decodeFields);
    if (def.description != nullptr) {
        addTailMembers(out, def.description->write);
        addTailMembers(out, def.description->read);
    }
    return out;
}

int describeMessage(const MessageDef& def, pava_desc_fn fn, void* user) {
    Out out(fn, user);
    const Layout& layout = def.layout;
    out.object();
    out.number("id", def.id);
    out.text("family", familyName(def));
    out.place("length", layout.length);
    fields(out, "fields", layout.fields);
    fields(out, "readFields", layout.readFields());
    description(out, def.description);
    split(out, def.split);
    out.list("members");
    for (const Member m : carriedMembers(def)) out.text(nullptr, memberName(m));
    out.end();
    out.end();
    return out.rc();
}

}  // namespace pava
