// The lists a decoder fills, refilled from their front. A record decoded
// again keeps the items of its previous decode: each is cleared and reused in
// place, so its strings and nested lists keep the memory they own, and a
// record that decodes frame after frame stops allocating once it has held
// the longest of them.
#ifndef ZMPAVA_CORE_LIST_REFILL_H
#define ZMPAVA_CORE_LIST_REFILL_H

#include <cstddef>
#include <cstring>
#include <vector>

#include "ZMPavaAnalyzer.h"

namespace pava {

// Back to the state of a new item; strings keep their capacity.
inline void clearItem(PavaDataItem& item) noexcept {
    item.itemId = item.itemInt = item.itemInt2 = item.itemInt3 = 0;
    item.itemText.clear();
    item.itemText2.clear();
    std::memset(item.itemBlock, 0, sizeof item.itemBlock);
}

inline void clearItem(PavaSettingItem& item) noexcept {
    item.setId = item.setInt = 0;
    std::memset(item.setText30, 0, sizeof item.setText30);
    item.setText.clear();
    item.setText2.clear();
}

inline void clearItem(PavaFieldItem& item) noexcept {
    item.fieldType = item.fieldLen = 0;
    item.fieldText1.clear();
    item.fieldText2.clear();
}

// The field lists are left to the RecordRefill that takes the record over.
inline void clearItem(PavaRecordItem& item) noexcept {
    item.recText1.clear();
    item.recText2.clear();
    item.recText3.clear();
    item.recInt = 0;
}

// A list filled from its front, item by item as push_back would: next()
// hands out an item, as a new one, which the list keeps once keep() is
// called. The items handed out are those the list already holds, cleared,
// then new ones. When the ListRefill goes, the list holds exactly the items
// kept, however the decode ended, an exception included.
template <class T>
class ListRefill {
public:
    explicit ListRefill(std::vector<T>& list) noexcept : m_list(list), m_held(list.size()) {}
    ListRefill(const ListRefill&) = delete;
    ListRefill& operator=(const ListRefill&) = delete;
    ~ListRefill() {
        if (m_kept < m_list.size()) m_list.erase(m_list.begin() + static_cast<std::ptrdiff_t>(m_kept), m_list.end());
    }

    // The next item, empty; one handed out but not kept is handed out again.
    // It stays valid until next() is called again.
    T& next() {
        if (m_kept < m_held) {
            T& item = m_list[m_kept];
            clearItem(item);
            return item;
        }
        T& item = m_list.emplace_back();
        ++m_held;
        return item;
    }
    // The list keeps the item last handed out.
    void keep() noexcept { ++m_kept; }
    size_t size() const noexcept { return m_kept; }
    T& operator[](size_t i) noexcept { return m_list[i]; }

    // Room for `count` more items, but for no more than `room` body bytes can
    // carry at `smallest` bytes each: the list grows by one allocation, and a
    // count read from a hostile frame reserves no more than the frame could
    // hold. A list that grows in steps still grows geometrically.
    void reserve(int count, int room, int smallest) {
        if (count <= 0 || room <= 0 || smallest <= 0) return;
        const int most = room / smallest;
        const size_t wanted = m_kept + static_cast<size_t>(count < most ? count : most);
        if (wanted > m_list.capacity()) m_list.reserve(wanted > 2 * m_list.capacity() ? wanted : 2 * m_list.capacity());
    }

private:
    std::vector<T>& m_list;
    size_t m_held;  // items in the list: those it held, then those added
    size_t m_kept = 0;
};

// A record item handed out by a ListRefill of records, with both its field
// lists refilled: fields it held that the decoder does not refill go. Lives
// no longer than the loop step that took it: the next record handed out may
// move the records.
struct RecordRefill {
    PavaRecordItem& record;
    ListRefill<PavaFieldItem> fields;
    ListRefill<PavaFieldItem> fields2;
};

inline RecordRefill nextRecord(ListRefill<PavaRecordItem>& records) {
    PavaRecordItem& record = records.next();
    return RecordRefill{record, ListRefill<PavaFieldItem>(record.fieldList), ListRefill<PavaFieldItem>(record.fieldList2)};
}

}  // namespace pava

#endif
