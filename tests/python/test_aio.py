"""pava.aio over loopback: records through a server of its own and back,
split messages joined, damage reported without ending the stream, and the
tool's peer (pava send, pava serve) on the other end."""

import asyncio
import json
import os

import pytest

import pava
from conftest import to_tool_json

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


def tool():
    program = os.environ.get("PAVA")
    if not program:
        pytest.skip("PAVA names no pava tool")
    return program


def joined(records):
    """The records as a joining reader gets them back, in the tool's JSON."""
    decoder = pava.Decoder(join=True)
    decoder.feed(b"".join(pava.wire(f) for r in records for f in pava.encode(r)))
    decoder.finish()
    return [to_tool_json(m.record) for m in decoder]


def frame_events(lines, direction):
    events = [json.loads(line) for line in lines]
    drop = ("event", "conn", "time", "dir", "offset", "rc", "frames")
    return [{k: v for k, v in e.items() if k not in drop}
            for e in events if e["event"] == "frame" and e["dir"] == direction and e["rc"] == 0]


@pytest.mark.asyncio
async def test_round_trip_through_its_own_server_and_pava_send(tmp_path):
    import pava.aio
    program = tool()
    problems = []
    server = await pava.aio.start_server(echo, "127.0.0.1", 0, join=True)
    port = server.sockets[0].getsockname()[1]
    records = tmp_path / "records.json"
    records.write_text(json.dumps([to_tool_json(r) for r in RECORDS]))
    try:
        async with await asyncio.wait_for(
                pava.aio.open_connection("127.0.0.1", port, join=True, on_problem=problems.append), TIMEOUT) as stream:
            await stream.send_bytes(b"noise\n")  # skipped by the server, which goes on
            for record in RECORDS:
                await asyncio.wait_for(stream.send(record), TIMEOUT)
            got = await asyncio.wait_for(take(stream, len(RECORDS)), TIMEOUT)
            assert [pava.encode(r) for r in got] == [pava.encode(r) for r in RECORDS]
            assert len(got[1]["dataList"]) == 1200
        proc = await asyncio.create_subprocess_exec(
            program, "send", "--join", "--wait", "0.5", f"127.0.0.1:{port}", str(records),
            stdout=asyncio.subprocess.PIPE, stderr=asyncio.subprocess.PIPE)
        out, err = await asyncio.wait_for(proc.communicate(), TIMEOUT)
    finally:
        server.close()
        await asyncio.wait_for(server.wait_closed(), TIMEOUT)
    assert problems == []
    assert proc.returncode == 0, err
    # What the tool sent came back from the echo server, joined as it was sent.
    assert frame_events(out.splitlines(), "in") == joined(RECORDS)


@pytest.mark.asyncio
async def test_a_pava_aio_client_talks_to_pava_serve():
    program = tool()
    proc = await asyncio.create_subprocess_exec(
        program, "serve", "--join", "--listen", "127.0.0.1:0",
        stdout=asyncio.subprocess.PIPE, stderr=asyncio.subprocess.PIPE)
    try:
        line = await asyncio.wait_for(proc.stderr.readline(), TIMEOUT)
        port = int(line.decode().rsplit(":", 1)[1])
        stream = await asyncio.wait_for(pava.aio.open_connection("127.0.0.1", port), TIMEOUT)
        for record in RECORDS:
            await asyncio.wait_for(stream.send(record), TIMEOUT)
        stream.close()
        await asyncio.wait_for(stream.wait_closed(), TIMEOUT)
        lines = []
        while not lines or json.loads(lines[-1])["event"] != "close":
            lines.append(await asyncio.wait_for(proc.stdout.readline(), TIMEOUT))
    finally:
        proc.terminate()
        await asyncio.wait_for(proc.wait(), TIMEOUT)
    assert frame_events(lines, "in") == joined(RECORDS)
