"""pava.aio over loopback: records through a server of its own and back,
split messages joined, damage reported without ending the stream."""

import asyncio

import pytest

import pava

pytestmark = pytest.mark.skipif(pava.BACKEND != "module", reason="streams need the compiled module")

TIMEOUT = 20  # seconds for any one exchange


def split_message(n):
    return {"msgId": 20020, "rii": 2, "text12b": b"LIST00000020", "dataList": [{"itemId": i} for i in range(n)]}


RECORDS = [{"msgId": 20001, "rii": 5, "msgType": 1, "text12b": b"ABCDEFGHIJKL"}, split_message(1200),
           {"msgId": 20138, "text12b": b"ADDRESS00001", "fileBlock": {"fbCount": 1, "fbCodes": [b"CODE1"]}}]


async def echo(stream):
    async for record in stream:
        await stream.send(record)


async def take(stream, n):
    got = []
    async for record in stream:
        got.append(record)
        if len(got) == n:
            return got
    return got


@pytest.mark.asyncio
async def test_round_trip_through_its_own_server():
    import pava.aio
    problems = []
    server = await pava.aio.start_server(echo, "127.0.0.1", 0, join=True)
    port = server.sockets[0].getsockname()[1]
    try:
        async with await asyncio.wait_for(
                pava.aio.open_connection("127.0.0.1", port, join=True, on_problem=problems.append), TIMEOUT) as stream:
            await stream.send_bytes(b"noise\n")  # skipped by the server, which goes on
            for record in RECORDS:
                await asyncio.wait_for(stream.send(record), TIMEOUT)
            got = await asyncio.wait_for(take(stream, len(RECORDS)), TIMEOUT)
            assert [pava.encode(r) for r in got] == [pava.encode(r) for r in RECORDS]
            assert len(got[1]["dataList"]) == 1200
    finally:
        server.close()
        await asyncio.wait_for(server.wait_closed(), TIMEOUT)
    assert problems == []


@pytest.mark.asyncio
async def test_damage_goes_to_on_problem_and_the_end_ends_the_stream():
    import pava.aio
    seen = []

    async def collect(stream):
        async for record in stream:
            seen.append(record["msgId"])

    problems = []
    server = await pava.aio.start_server(collect, "127.0.0.1", 0, on_problem=problems.append)
    port = server.sockets[0].getsockname()[1]
    try:
        reader, writer = await asyncio.wait_for(asyncio.open_connection("127.0.0.1", port), TIMEOUT)
        frame = pava.wire(pava.encode(RECORDS[0])[0])
        writer.write(b"xx" + frame + frame[:20])
        await writer.drain()
        writer.close()
        await asyncio.wait_for(writer.wait_closed(), TIMEOUT)
        for _ in range(200):
            if len(problems) == 2:
                break
            await asyncio.sleep(0.05)
    finally:
        server.close()
        await asyncio.wait_for(server.wait_closed(), TIMEOUT)
    assert seen == [20001]
    assert [(p.offset, p.length) for p in problems] == [(0, 2), (2 + len(frame), 20)]
