#include "analyzer.h"

#include <new>

#include "frame_header.h"
#include "frame_list.h"
#include "message.h"

#if defined(_WIN32)
#include <windows.h>
#endif

namespace pava {

int CPavaMsgAnalyze::setHeadFromData(PavaMsg* frame) const noexcept {
    if (m_record == nullptr || frame == nullptr) return PAVA_ERR_NULL;
    PavaHeadAccessor(frame).setAll(m_record->rii, m_record->msgId, typeDigitChar(m_record->msgType), 0,
                                   typeDigitChar(m_record->headFlag), m_record->contFlag > 0);
    return PAVA_OK;
}

int CPavaMsgAnalyze::parseHeadToData(const PavaMsg* frame) const noexcept {
    if (m_record == nullptr || frame == nullptr) return PAVA_ERR_NULL;
    const PavaHeadAccessor head = readHead(frame);
    m_record->rii = static_cast<uint16_t>(head.getRii());
    m_record->msgId = static_cast<uint16_t>(head.getMsgId());
    m_record->msgType = typeDigitValue(head.getType());
    m_record->msgLen = static_cast<uint16_t>(head.getLength());
    m_record->headFlag = typeDigitValue(head.getHeadFlag());
    m_record->contFlag = head.isContinued() ? 1 : 0;
    return PAVA_OK;
}

int CPavaMsgAnalyze::Data_To_Pava(PavaMsgList* out) {
    if (m_record == nullptr) return PAVA_ERR_NULL;
    const MessageDef* def = findMessage(m_record->msgId);
    if (def == nullptr) return PAVA_ERR_NO_HANDLER;
    if (out == nullptr) return PAVA_ERR_NULL;
    FrameList frames(*out);
    return def->encode(*def, &frames, this) != 0 ? PAVA_ERR_ENCODE : PAVA_OK;
}

uint8_t CPavaMsgAnalyze::keptBit(const void* list) const noexcept {
    if (m_record == nullptr) return 0;
    if (list == &m_record->dataList) return 1;
    if (list == &m_record->dataList2) return 2;
    if (list == &m_record->settingList) return 4;
    if (list == &m_record->recordList) return 8;
    return 0;
}

void CPavaMsgAnalyze::emptyKeptLists() noexcept {
    if ((m_kept & 1) != 0) m_record->dataList.clear();
    if ((m_kept & 2) != 0) m_record->dataList2.clear();
    if ((m_kept & 4) != 0) m_record->settingList.clear();
    if ((m_kept & 8) != 0) m_record->recordList.clear();
    m_kept = 0;
}

int CPavaMsgAnalyze::Pava_To_Data(const PavaMsg* frame) {
    if (m_record == nullptr || frame == nullptr) return PAVA_ERR_NULL;
    resetAllButLists(*m_record);
    m_kept = 1 | 2 | 4 | 8;
    // However the decode ends, an exception included, the lists it did not
    // refill are emptied.
    struct EmptyKept {
        CPavaMsgAnalyze& an;
        ~EmptyKept() { an.emptyKeptLists(); }
    } emptyKept{*this};
    if (const int rc = parseHeadToData(frame); rc != 0) return rc;
    const MessageDef* def = findMessage(m_record->msgId);
    if (def == nullptr) return PAVA_ERR_NO_HANDLER;
    return def->decode(*def, frame, this) != 0 ? PAVA_ERR_DECODE : PAVA_OK;
}

}  // namespace pava

// No exception leaves the library: a failure inside a codec (an allocation
// that cannot be met) becomes the call's failure code.
extern "C" PAVA_API int PAVA_CALL Data_To_Pava(PavaFullData* record, PavaMsgList* msgList) {
    try {
        pava::CPavaMsgAnalyze analyzer(record);
        return analyzer.Data_To_Pava(msgList);
    } catch (...) {
        return PAVA_ERR_ENCODE;
    }
}

namespace pava {

// The one decode of a frame, with or without an observer of its reads.
static int decodeWith(const PavaMsg* frame, PavaFullData* record, ReadObserver* observer) noexcept {
    try {
        CPavaMsgAnalyze analyzer(record);
        analyzer.observe(observer);
        return analyzer.Pava_To_Data(frame);
    } catch (...) {
        return PAVA_ERR_DECODE;
    }
}

int decodeObserved(const PavaMsg& frame, PavaFullData& rec, ReadObserver* observer) {
    return decodeWith(&frame, &rec, observer);
}

}  // namespace pava

extern "C" PAVA_API int PAVA_CALL Pava_To_Data(const PavaMsg* frame, PavaFullData* record) {
    return pava::decodeWith(frame, record, nullptr);
}

#if defined(_WIN32)
BOOL APIENTRY DllMain(HMODULE module, DWORD reason, LPVOID /*reserved*/) {
    if (reason == DLL_PROCESS_ATTACH) DisableThreadLibraryCalls(module);
    return TRUE;
}
#endif
