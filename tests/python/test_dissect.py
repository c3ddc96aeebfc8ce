"""pava.dissect: every body byte of a frame as its decoder reads it."""

import pava


def test_spans_cover_the_body_with_their_member_paths():
    record = {"msgId": 20169, "rii": 1, "text12b": b"ADDR", "intValue2": 3,
              "dataList": [{"itemId": 1, "itemText": b"short"}, {"itemId": 2, "itemText": b"a longer text than eight"}]}
    frame = pava.encode(record)[0]
    spans = pava.dissect(frame)
    assert spans == pava.dissect(pava.wire(frame))
    at = 0
    for span in spans:
        assert span["offset"] == at
        at += span["width"]
    assert at == len(pava.wire(frame)) - pava.HEADER_SIZE
    assert spans[0] == {"offset": 0, "width": 12, "kind": "raw", "path": "text12b"}
    assert {"offset": 42, "width": 3, "kind": "marker", "path": "dataList[1].itemText.escape"} in spans
    assert spans[-1] == {"offset": 50, "width": 24, "kind": "text", "path": "dataList[1].itemText"}
    # Decimals carry the number the decoder took.
    assert [(s["path"], s["value"]) for s in spans if s["kind"] == "decimal"][:2] == [("intValue2", 3), ("dataList.count", 2)]
    # Bytes behind what the decoder reads are unread.
    tail = pava.dissect(b"6  20015125   00SUB-STATION1127 12024TAIL")[-1]
    assert tail == {"offset": 21, "width": 4, "kind": "unread", "path": None}


def test_version_is_the_loaded_library_s():
    assert len(pava.version()) == 3 and pava.version() > (0, 0, 0)
