"""The dict form and every way the package refuses a record or a frame."""

import json
import os
import subprocess

import pytest

import pava

ADDRESS = {"msgId": 20001, "rii": 5, "msgType": 1, "text12b": b"ABCDEFGHIJKL"}


def test_first_encode_and_decode_and_the_wire_form():
    frames = pava.encode(ADDRESS)
    assert [len(f) for f in frames] == [pava.FRAME_SIZE]
    assert pava.wire(frames[0]) == b"5  20001112   00ABCDEFGHIJKL"
    assert pava.decode(frames[0]) == dict(ADDRESS, msgLen=12)
    # The wire form counts only the declared body: cut short, the rest is zero;
    # run on into the next frame, ignored.
    assert pava.decode(pava.wire(frames[0])) == dict(ADDRESS, msgLen=12)
    assert pava.decode(frames[0][:20])["text12b"] == b"ABCD"
    assert pava.decode(pava.wire(frames[0]) + b"5  20001112   00XXXX") == pava.decode(bytearray(frames[0]))


def test_exact_bytes_and_nested_members_round_trip():
    record = {"msgId": 20138, "text12b": b"\x00\xff\x80ADDR\x00x",
              "recordList": [{"fieldList": [{"fieldType": 1, "fieldLen": 3, "fieldText1": b"a\x00\xe9"}],
                              "fieldList2": [{}]}],
              "fileBlock": {"fbCount": 2, "fbCodes": [b"", b"\xffCODE"]},
              "dataList": [{}, {"itemBlock": b"\x00" * 15 + b"z"}], "string1": b"\x00\x00"}
    # The same bytes come back from the record as they went in, whatever the codec sends.
    rec = pava._Record()
    rec.fill(record)
    assert rec.read(False) == record
    full = rec.read(True)
    assert full["intValue16"] == 0 and full["string6"] == b"" and full["settingList"] == []
    assert len(full["fileBlock"]["fbCodes"]) == 200 and full["fileBlock"]["fbText16a"] == b""
    assert full["dataList"][0] == {"itemId": 0, "itemInt": 0, "itemText": b"", "itemBlock": b"",
                                   "itemText2": b"", "itemInt2": 0, "itemInt3": 0}
    assert pava.decode(pava.encode(record)[0], full=True).keys() == full.keys()


@pytest.mark.parametrize("record, error, path", [
    ({"msgId": 20001, "bogus": 1}, KeyError, "bogus"),
    ({"fbCount": 1}, KeyError, "fbCount"),  # file block members live in fileBlock
    ({"dataList": [{}, {"setId": 1}]}, KeyError, "dataList[1].setId"),
    ({"recordList": [{"fieldList": [{"nope": b""}]}]}, KeyError, "recordList[0].fieldList[0].nope"),
    ({"fileBlock": {"fbText99": b""}}, KeyError, "fileBlock.fbText99"),
    ({"text12b": "ABC"}, TypeError, "text12b"),
    ({"msgId": b"1"}, TypeError, "msgId"),
    ({"intValue1": 1.0}, TypeError, "intValue1"),
    ({"dataList": {}}, TypeError, "dataList"),
    ({"dataList": [1]}, TypeError, "dataList[0]"),
    ({"fileBlock": [b""]}, TypeError, "fileBlock"),
    ({"fileBlock": {"fbCodes": b"abc"}}, TypeError, "fileBlock.fbCodes"),
    ({"fileBlock": {"fbCodes": ["abc"]}}, TypeError, "fileBlock.fbCodes[0]"),
    ({"text12b": b"x" * 14}, ValueError, "text12b"),
    ({"settingList": [{"setText30": b"x" * 31}]}, ValueError, "settingList[0].setText30"),
    ({"fileBlock": {"fbCodes": [b""] * 201}}, ValueError, "fileBlock.fbCodes"),
    ({"fileBlock": {"fbCodes": [b"", b"x" * 14]}}, ValueError, "fileBlock.fbCodes[1]"),
    ({"msgId": 65536}, ValueError, "msgId"),
    ({"rii": -1}, ValueError, "rii"),
    ({"intValue1": 2**31}, ValueError, "intValue1"),
    ({"intValue1": 2**64}, ValueError, "intValue1"),
])
def test_bad_records_are_refused_naming_the_member(record, error, path):
    log = []
    pava.set_log(log.append)
    with pytest.raises(error) as caught:
        pava.encode(dict(record, msgId=record.get("msgId", 20001)) if "msgId" not in record else record)
    assert path in str(caught.value)
    assert log == []  # refused before anything was encoded


def test_not_a_dict():
    with pytest.raises(TypeError):
        pava.encode([("msgId", 20001)])


def test_library_refusals_carry_their_code_and_what_was_done():
    with pytest.raises(pava.PavaError) as caught:
        pava.encode({"msgId": 12345})
    assert caught.value.code == 0x10008 and caught.value.frames == []

    with pytest.raises(pava.PavaError) as caught:
        pava.encode({"msgId": 20016, "dataList": [{"itemId": 1, "itemText": b"short"},
                                                  {"itemId": 2, "itemText": b"x" * 8156}]})
    assert caught.value.code == 0x1000A
    assert len(caught.value.frames) == 1 and caught.value.frames[0][3:8] == b"20016"

    with pytest.raises(pava.PavaError) as caught:
        pava.decode((b"1  20138" + b"\x00" * 8 + b"aaaaaaaaaaaa1 0 999").ljust(pava.FRAME_SIZE, b"\x00"))
    assert caught.value.code == 0x10009
    assert caught.value.record == {"rii": 1, "msgId": 20138, "text12b": b"aaaaaaaaaaaa"}

    with pytest.raises(pava.PavaError) as caught:
        pava.decode(b"7  123450".ljust(16, b" "))
    assert caught.value.code == 0x10008 and caught.value.record["msgId"] == 12345


def test_frames_of_the_wrong_size_or_type():
    for frame in (b"", b"1  20001", b"\x00" * (pava.FRAME_SIZE + 1)):
        with pytest.raises(ValueError):
            pava.decode(frame)
        with pytest.raises(ValueError):
            pava.wire(frame)
    with pytest.raises(TypeError):
        pava.decode("5  20001112   00ABCDEFGHIJKL")


def test_ids_and_layouts():
    # The tables themselves are checked in C++ (tests/unit, tests/cli); here their Python form.
    ids = pava.ids()
    assert ids == sorted(set(ids)) and 20001 in ids and 12345 not in ids
    assert pava.layout(209)["description"]["read"]["kind"] == "rows"
    assert all(pava.layout(i)["id"] == i and pava.layout(i)["family"] != "?" for i in ids)
    items = pava.layout(20020)["description"]["read"]
    assert items["itemFields"][0] == {"offset": 0, "width": 4, "kind": "decimal", "member": "itemId",
                                      "owner": "item", "number": True, "keeps": 4, "flags": []}
    assert pava.layout(20020)["split"]["headFlagTwo"] is True
    with pytest.raises(pava.PavaError) as caught:
        pava.layout(12345)
    assert caught.value.code == 0x10008


def test_layout_is_the_description_the_tool_prints():
    # Both backends build the description stream into the same data as `pava layout --json`.
    tool = os.environ.get("PAVA")
    if not tool:
        pytest.skip("PAVA names no pava program")
    printed = json.loads(subprocess.run([tool, "layout", "--json"], check=True, capture_output=True).stdout)
    assert [pava.layout(d["id"]) for d in printed] == printed


def test_log_sink():
    lines = []
    pava.set_log(lines.append)
    pava.decode(pava.encode(ADDRESS)[0])
    assert lines == ["Data_To_Pava_20001!\n", "Pava_20001_To_Data!\n"]
    pava.set_log(None)
    pava.encode(ADDRESS)
    assert len(lines) == 2
    with pytest.raises(TypeError):
        pava.set_log("stdout")
    pava.set_log(pava.STDOUT)


def test_calls_from_several_threads_agree_with_one():
    from concurrent.futures import ThreadPoolExecutor
    records = [dict(ADDRESS, msgId=i) for i in pava.ids() if 20001 <= i <= 20013]
    records.append({"msgId": 20020, "dataList": [{"itemId": i} for i in range(500)]})

    def round_trip(record):
        try:
            return [pava.decode(f) for f in pava.encode(record)]
        except pava.PavaError as e:
            return e.code

    alone = [round_trip(r) for r in records]
    with ThreadPoolExecutor(4) as pool:  # ctypes lets go of the interpreter lock in each call
        for _ in range(3):
            assert list(pool.map(round_trip, records)) == alone
