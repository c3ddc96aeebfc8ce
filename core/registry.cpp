// The registry of codecs: every family's table, merged once per process into
// one array sorted by id, with an index by id. Later entries replace earlier
// ones with the same id.
#include <algorithm>
#include <array>
#include <cstdint>
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

// The codecs in id order, and for every 16-bit id the position of its codec
// plus one (0: none), so that a lookup is two loads.
struct Registry {
    std::vector<const MessageDef*> all;
    std::array<uint8_t, 65536> slot{};

    Registry() : all(buildRegistry()) {
        if (all.size() > 255) return;  // positions would not fit: lookups search instead
        for (size_t i = 0; i < all.size(); ++i)
            if (all[i]->id >= 0 && all[i]->id < 65536) slot[static_cast<size_t>(all[i]->id)] = static_cast<uint8_t>(i + 1);
    }
};

const Registry& registry() {
    static const Registry instance;
    return instance;
}

}  // namespace

const MessageDef* findMessage(int id) {
    const Registry& r = registry();
    if (r.all.size() <= 255) {
        if (id < 0 || id >= 65536) return nullptr;
        const uint8_t at = r.slot[static_cast<size_t>(id)];
        return at != 0 ? r.all[at - 1u] : nullptr;
    }
    const auto it = std::lower_bound(r.all.begin(), r.all.end(), id,
                                     [](const MessageDef* def, int key) { return def->id < key; });
    return it != r.all.end() && (*it)->id == id ? *it : nullptr;
}

std::span<const MessageDef* const> registeredMessages() { return registry().all; }

const char* familyName(const MessageDef& def) noexcept {
    for (const messages::Family& family : messages::kFamilies) {
        const auto defs = family.messages();
        if (!defs.empty() && &def >= defs.data() && &def < defs.data() + defs.size()) return family.name;
    }
    return "?";
}

}  // namespace pava
