#!/bin/sh
# `pip install .` as a user runs it: a fresh virtual environment of PYTHON,
# the checkout installed into it offline, then `import pava` from elsewhere
# with no environment variable pointing anywhere.
#   pip_install.sh PYTHON SOURCE_DIR WORK_DIR
set -eu
python=$1 source=$2 work=$3
rm -rf "$work/env" "$work/run"
mkdir -p "$work/run"
"$python" -m venv "$work/env"
"$work/env/bin/python" -m pip install -q --no-index --no-build-isolation "$source"
cd "$work/run"
env -u PYTHONPATH -u PAVA_LIBRARY -u PAVA_BACKEND "$work/env/bin/python" - "$work/env" <<'PY'
import sys
import pava

assert pava.BACKEND == "module" and pava.__file__.startswith(sys.argv[1]), pava.__file__
pava.set_log(None)
record = {"msgId": 20001, "rii": 5, "msgType": 1, "text12b": b"ABCDEFGHIJKL"}
frames = pava.encode(record)
assert pava.decode(frames[0]) == dict(record, msgLen=12)
decoder = pava.Decoder()
decoder.feed(b"".join(pava.wire(f) for f in frames))
decoder.finish()
assert [e.record for e in decoder] == [dict(record, msgLen=12)]
PY
