#include "layout_json.h"

#include <vector>

#include "ZMPavaAnalyzerC.h"
#include "describe.h"
#include "message.h"

namespace pava::tool {

namespace {

using Json = nlohmann::ordered_json;

// Builds JSON from the description stream: each object or list is built
// apart and put into its parent when it closes.
class JsonBuilder {
public:
    static int PAVA_CALL take(const pava_desc_token* t, void* user) {
        static_cast<JsonBuilder*>(user)->add(*t);
        return 0;
    }

    Json result() { return m_done.empty() ? Json() : std::move(m_done.back()); }

private:
    struct Open {
        std::string name;
        Json value;
    };

    void add(const pava_desc_token& t) {
        switch (t.token) {
        case PAVA_DESC_OBJECT: m_open.push_back({t.name != nullptr ? t.name : "", Json::object()}); return;
        case PAVA_DESC_LIST: m_open.push_back({t.name != nullptr ? t.name : "", Json::array()}); return;
        case PAVA_DESC_END: {
            Open done = std::move(m_open.back());
            m_open.pop_back();
            if (m_open.empty())
                m_done.push_back(std::move(done.value));
            else
                put(done.name.c_str(), std::move(done.value));
            return;
        }
        case PAVA_DESC_NUMBER: return put(t.name, Json(t.number));
        case PAVA_DESC_BOOL: return put(t.name, Json(t.number != 0));
        case PAVA_DESC_TEXT: return put(t.name, t.text != nullptr ? Json(t.text) : Json(nullptr));
        default: return;
        }
    }

    void put(const char* name, Json value) {
        Json& parent = m_open.back().value;
        if (parent.is_array())
            parent.push_back(std::move(value));
        else
            parent[name != nullptr ? name : ""] = std::move(value);
    }

    std::vector<Open> m_open;
    std::vector<Json> m_done;
};

}  // namespace

Json layoutJson(int id) {
    JsonBuilder builder;
    if (pava_describe(id, JsonBuilder::take, &builder) != PAVA_RC_OK) return nullptr;
    return builder.result();
}

Json allLayoutsJson() {
    Json all = Json::array();
    for (const MessageDef* def : registeredMessages()) all.push_back(layoutJson(def->id));
    return all;
}

Json membersJson() {
    Json all = Json::array();
    for (int i = 0; i < static_cast<int>(Member::None); ++i) {
        const auto m = static_cast<Member>(i);
        const Slot slot = slotIn(m);
        all.push_back({{"name", memberName(m)},
                       {"owner", ownerName(memberOwner(m))},
                       {"number", slot.type == SlotType::Int32 || slot.type == SlotType::UInt16},
                       // A number stored in 16 bits keeps what it reads modulo 2^16.
                       {"bits", slot.type == SlotType::UInt16 ? 16 : slot.type == SlotType::Int32 ? 32 : 0}});
    }
    return all;
}

}  // namespace pava::tool
