#!/usr/bin/env python3
"""Adds the golden corpus case of one fuzz finding to tests/data/fuzz_findings.json.

Input: the finding's name and the file its harness wrote with PAVA_FUZZ_DUMP
(one JSON object a line: a record, or a frame's head and body). A finding of
the encoder becomes an encode case of its record with every frame decoded
again; a finding of the decoder a decode case per distinct frame. The cases
carry no expectation yet: fix the codec, then run the corpus test with
PAVA_CORPUS_UPDATE=1 and review what it writes.
"""
import json
import pathlib
import sys


def main():
    name, dump = sys.argv[1], pathlib.Path(sys.argv[2])
    entries = [json.loads(line) for line in dump.read_text(encoding="utf-8").splitlines() if line.strip()]
    records = [e["record"] for e in entries if "record" in e]
    cases = []
    if records:
        cases.append({"name": f"fuzz finding {name}", "record": records[-1], "decoded": []})
    else:
        seen = set()
        for e in entries:
            key = (e["head"], e["body"])
            if key in seen:
                continue
            seen.add(key)
            cases.append({"name": f"fuzz finding {name} frame {len(seen)}", "head": e["head"], "body": e["body"]})
    path = pathlib.Path(__file__).resolve().parent.parent / "tests" / "data" / "fuzz_findings.json"
    corpus = (json.loads(path.read_text(encoding="utf-8")) if path.exists() else
              {"about": "Inputs the fuzz harnesses found, kept as regression cases.", "cases": []})
    corpus["cases"].extend(cases)
    path.write_text(json.dumps(corpus, ensure_ascii=True, indent=1) + "\n", encoding="utf-8")
    print(f"{name}: {len(cases)} case(s) added to {path}; "
          "fill them in with PAVA_CORPUS_UPDATE=1 build/release/tests/pava_tool_tests --gtest_filter='Golden*'")


if __name__ == "__main__":
    main()
