// The registry of codecs: every family's table, merged once per process into
// one array sorted by id, with an index by id. An id registered twice is an
// error: no registration of it is kept, and the id is listed as a duplicate.
#include <algorithm>
#include <array>
#include <cstdint>
#include <vector>

#include "messages/catalog.h"
#include "message.h"

namespace pava {

namespace {

std::vector<std::span<const MessageDef>> familyTables() {
    std::vector<std::span<const MessageDef>> tables;
    for (const auto family : messages::kFamilies) tables.push_back(family.messages());
    return tables;
}

// The codecs in id order, and for every 16-bit id the position of its codec
// plus one (0: none), so that a lookup is two loads.
struct Registry {
    std::vector<const MessageDef*> all;
    std::array<uint8_t, 65536> slot{};
    std::vector<int> duplicates;

    Registry();
};

Registry::Registry() {
    all = mergeRegistrations(familyTables(), &duplicates);
    if (all.size() > 255) return;  // positions would not fit: lookups search instead
    for (size_t i = 0; i < all.size(); ++i)
        if (all[i]->id >= 0 && all[i]->id < 65536) slot[static_cast<size_t>(all[i]->id)] = static_cast<uint8_t>(i + 1);
}

const Registry& registry() {
    static const Registry instance;
    return instance;
}

}  // namespace

std::vector<const MessageDef*> mergeRegistrations(std::span<const std::span<const MessageDef>> tables,
                                                  std::vector<int>* duplicates) {
    std::vector<const MessageDef*> all;
    for (const auto table : tables)
        for (const MessageDef& def : table) all.push_back(&def);
    std::stable_sort(all.begin(), all.end(),
                     [](const MessageDef* a, const MessageDef* b) { return a->id < b->id; });
    std::vector<const MessageDef*> unique;
    for (size_t i = 0; i < all.size();) {
        size_t end = i + 1;
        while (end < all.size() && all[end]->id == all[i]->id) ++end;
        if (end - i == 1)
            unique.push_back(all[i]);
        else
            duplicates->push_back(all[i]->id);
        i = end;
    }
    return unique;
}

std::span<const int> registryDuplicates() { return registry().duplicates; }

const MessageDef* findMessage(int id) {
    // Held here, so that a lookup tests the guard of its own static inline.
    static const Registry& r = registry();
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
