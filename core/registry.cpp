// The registry of codecs: every family's table, merged once per process into
// one array sorted by id. Later entries replace earlier ones with the same id.
#include <algorithm>
#include <vector>

#include "messages/catalog.h"
#include "message.h"

namespace pava {

namespace {

std::vector<const MessageDef*> buildRegistry() {
    std::vector<const MessageDef*> all;
    for (const auto family : messages::kFamilies)
        for (const MessageDef& def : family.messages()) all.push_back(&def);
    std::stable_sort(all.begin(), all.end(),
                     [](const MessageDef* a, const MessageDef* b) { return a->id < b->id; });
    // Keep the last registration of each id.
    std::vector<const MessageDef*> unique;
    for (const MessageDef* def : all) {
        if (!unique.empty() && unique.back()->id == def->id)
            unique.back() = def;
        else
            unique.push_back(def);
    }
    return unique;
}

const std::vector<const MessageDef*>& registry() {
    static const std::vector<const MessageDef*> instance = buildRegistry();
    return instance;
}

}  // namespace

const MessageDef* findMessage(int id) {
    const auto& all = registry();
    const auto it = std::lower_bound(all.begin(), all.end(), id,
                                     [](const MessageDef* def, int key) { return def->id < key; });
    return it != all.end() && (*it)->id == id ? *it : nullptr;
}

std::span<const MessageDef* const> registeredMessages() { return registry(); }

const char* familyName(const MessageDef& def) noexcept {
    for (const messages::Family& family : messages::kFamilies) {
        const auto defs = family.messages();
        if (!defs.empty() && &def >= defs.data() && &def < defs.data() + defs.size()) return family.name;
    }
    return "?";
}

}  // namespace pava
