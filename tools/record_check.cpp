#include "record_check.h"

#include <fmt/format.h>

#include "multiframe/joiner.h"

namespace pava::tool {

namespace {

// A text without the NUL padding a fixed-width field gives it.
Json unpadded(const Json& v) {
    if (!v.is_string()) return v;
    std::string s = v.get<std::string>();
    while (!s.empty() && s.back() == '\0') s.pop_back();
    return s;
}

// A value as JSON, long texts cut to their first characters and their size.
std::string shown(const Json& v) {
    constexpr size_t kShown = 40;
    if (v.is_string() && v.get_ref<const std::string&>().size() > kShown) {
        const std::string& s = v.get_ref<const std::string&>();
        return fmt::format("{}... ({} characters)", jsonLine(Json(s.substr(0, kShown))), s.size());
    }
    return jsonLine(v);
}

void compare(const Json& given, const Json* received, const std::string& path, std::vector<std::string>& out) {
    if (given.is_object()) {
        for (const auto& [key, value] : given.items()) {
            if (path.empty() && key == "msgLen") continue;
            const std::string at = path.empty() ? key : path + "." + key;
            const Json* r = received != nullptr && received->is_object() && received->contains(key) ? &(*received)[key]
                                                                                                    : nullptr;
            compare(value, r, at, out);
        }
        return;
    }
    if (given.is_array()) {
        size_t have = received != nullptr && received->is_array() ? received->size() : 0;
        const bool rows = !given.empty() && given.front().is_object();
        // Rows are matched in order. A decoder may hand a row out twice (a table
        // record once without and once with its where-items): where the next
        // received row carries all this one did not, the match moves on to it.
        size_t shift = 0;
        for (size_t i = 0; i < given.size() && i + shift < have; ++i) {
            const std::string at = fmt::format("{}[{}]", path, i);
            std::vector<std::string> lost;
            compare(given[i], &(*received)[i + shift], at, lost);
            if (!lost.empty() && rows && i + shift + 1 < have) {
                std::vector<std::string> next;
                compare(given[i], &(*received)[i + shift + 1], at, next);
                if (next.empty()) {
                    ++shift;
                    continue;
                }
            }
            out.insert(out.end(), lost.begin(), lost.end());
        }
        have -= shift;
        if (given.size() > have) {
            if (rows)
                out.push_back(given.size() - have == 1
                                  ? fmt::format("{}[{}]: row not sent", path, have)
                                  : fmt::format("{}[{}..{}]: {} rows not sent", path, have, given.size() - 1,
                                                given.size() - have));
            else
                for (size_t i = have; i < given.size(); ++i)
                    if (!unpadded(given[i]).get<std::string>().empty())
                        out.push_back(fmt::format("{}[{}]: {} not sent", path, i, shown(given[i])));
        }
        return;
    }
    // A member left out of the decoded record is zero or empty there.
    const Json zero = given.is_string() ? Json("") : Json(0);
    const Json& r = received != nullptr ? *received : zero;
    if (unpadded(given) == unpadded(r)) return;
    if (received == nullptr)
        out.push_back(fmt::format("{}: {} not sent", path, shown(given)));
    else
        out.push_back(fmt::format("{}: {} sent as {}", path, shown(given), shown(*received)));
}

}  // namespace

std::vector<std::string> lostMembers(const Json& given, const Json& received) {
    std::vector<std::string> out;
    compare(given, &received, "", out);
    return out;
}

Json receivedRecord(const PavaMsgList& frames, int& rc) {
    rc = PAVA_OK;
    if (frames.size() == 1) {
        PavaFullData rec;
        rc = Pava_To_Data(&frames.front(), &rec);
        return recordToJson(rec);
    }
    MessageJoiner joiner;
    for (size_t i = 0; i < frames.size(); ++i) joiner.push(&frames[i], i);
    joiner.finish();
    JoinedMessage m;
    Json j = Json::object();
    if (joiner.pop(m)) {
        rc = m.rc;
        j = recordToJson(m.record);
    }
    // Frames that did not join into the first message are reported by the caller
    // through what is missing from it.
    return j;
}

}  // namespace pava::tool
