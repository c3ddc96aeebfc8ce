// pava: encodes JSON records into PAVA frames, decodes and dissects frames,
// and lists the codecs' layout tables.
#include <cstdio>
#include <fstream>
#include <string>

#include <CLI/CLI.hpp>
#include <fmt/format.h>

#include "commands.h"
#include "dissect.h"
#include "layout_json.h"
#include "peer.h"
#include "replay.h"
#include "wireshark.h"

namespace {

using namespace pava::tool;

int layout(const std::string& idText, bool json) {
    if (idText.empty()) {
        if (!json) {
            fmt::print(stderr, "layout: an ID, or --json for every id\n");
            return kExitUsage;
        }
        return fmt::print("{}\n", allLayoutsJson().dump(1)), kExitOk;
    }
    const int id = std::stoi(idText);
    const auto description = layoutJson(id);
    if (description.is_null()) {
        fmt::print(stderr, "no codec for id {:05}\n", id);
        return kExitUsage;
    }
    if (json) return fmt::print("{}\n", description.dump(1)), kExitOk;
    fmt::print("{}", describeLayout(description));
    return kExitOk;
}

int wireshark(const std::string& output) {
    const std::string lua = wiresharkDissector();
    if (output.empty() || output == "-") return fmt::print("{}", lua), kExitOk;
    std::ofstream out(output, std::ios::binary);
    out << lua;
    if (!out.flush()) throw std::runtime_error("cannot write " + output);
    return kExitOk;
}

}  // namespace

// Exit codes, as `--help` and the README list them.
constexpr const char* kExitCodes = R"(Exit codes:
  0  every frame or record went through
  1  a codec call failed (rc not 0), or with --strict an encode lost data
  2  the command line is wrong
  3  input was skipped: bytes that are not a frame, a fragment at the end, a record that is not
     one, a split message with frames missing, bytes missing from a capture, a damaged capture
     (with --strict the run stops there)
  4  a file could not be opened, read or written
The worst that happened wins. Data goes to standard output (or -o FILE), everything else
to standard error.)";

int main(int argc, char** argv) {
    CLI::App app{"PAVA frames: encode JSON records, decode and dissect frames, show the codec tables"};
    app.require_subcommand(1);
    // The same command line on every platform: on Windows CLI11 would otherwise
    // read a path such as /data/frames.pava as an option. Subcommands inherit this.
    app.allow_windows_style_options(false);
    app.set_version_flag("--version", std::string("pava ") + PAVA_VERSION);
    app.footer(kExitCodes);
    std::string logTo;
    app.add_flag("--log{stderr}", logTo,
                 "let the codecs' log lines through: to standard error (--log, --log=stderr), or into each "
                 "decoded frame's JSON as \"log\": [...] (--log=json)")
        ->check(CLI::IsMember({"stderr", "json"}));

    auto* ids = app.add_subcommand("ids", "every registered id: family, body length, fixed fields");
    // Ids are decimal even with leading zeros ("00101", as `ids` prints them).
    std::string idText;
    bool json = false;
    auto* lay = app.add_subcommand("layout", "the whole body layout of one id (every id with --json)");
    lay->add_flag("--json", json, "the layout as JSON: one object, or an array of every id without ID");
    lay->add_option("ID", idText, "message id")->check([](const std::string& text) {
        const bool digits = !text.empty() && text.size() <= 5 &&
                            text.find_first_not_of("0123456789") == std::string::npos;
        return digits ? std::string() : std::string("an id is one to five decimal digits");
    });

    StreamOptions opts;
    bool raw = false;
    bool hex = false;
    auto* enc = app.add_subcommand(
        "encode",
        "JSON records to frames: each record through Data_To_Pava, the frames decoded again and every member "
        "that did not survive reported on standard error");
    auto* dec = app.add_subcommand("decode", "frames to JSON Lines: one object per frame with its offset and rc");
    auto* dis = app.add_subcommand("dissect", "frames byte by byte, as the decoders read them");
    enc->add_option("RECORDS", opts.input,
                    "JSON records: JSON Lines, objects one after another, or one array; - for standard input")
        ->capture_default_str();
    for (auto* sub : {dec, dis})
        sub->add_option("FILE", opts.input, "frames; - for standard input")->capture_default_str();
    for (auto* sub : {enc, dec, dis}) {
        sub->footer(kExitCodes);
        sub->add_option("-o,--output", opts.output, "where the output goes; - for standard output")
            ->capture_default_str();
        const bool out = sub == enc;
        auto* r = sub->add_flag("--raw", raw, out ? "write whole 8208-byte frames" : "the input holds whole 8208-byte frames");
        sub->add_flag("--hex", hex,
                      out ? "write each frame as one line of hex"
                          : "the input is hex text, one frame per line (blanks, an offset column and a |text| "
                            "column ignored)")
            ->excludes(r);
        sub->add_flag("--strict", opts.strict,
                      out ? "stop at the first record that fails or loses data (exit 1)"
                          : "stop at the first damage (exit 3)");
    }
    for (auto* sub : {dec, dis}) {
        sub->add_flag("--pcap", opts.pcap,
                      "the input is a packet capture (pcap or pcapng; a file is recognised by its magic number "
                      "without this): every TCP connection followed, each direction's frames read")
            ->excludes("--raw")
            ->excludes("--hex");
        sub->add_option("--port", opts.ports,
                        "captures: read the connections with this TCP port (repeatable); without it every "
                        "connection whose bytes start with a plausible header")
            ->allow_extra_args(false)
            ->check(CLI::Range(1, 65535));
    }
    dis->add_flag("--json", opts.json,
                  "one JSON object per frame: its body as spans, each with offset, width, member path, "
                  "kind and value, or unread");
    dec->add_flag("--join", opts.join,
                  "one object per message: the frames of a split message joined into one record, with "
                  "\"frames\" (and \"complete\": false when frames are missing)");
    std::string luaOutput;
    auto* wsh = app.add_subcommand("wireshark", "the Lua dissector for Wireshark, generated from the layout tables");
    wsh->add_option("-o,--output", luaOutput, "write it to this file (- or none: standard output)");

    // The peer: serve listens, send connects; both report JSON Lines events.
    pava::tool::peer::PeerOptions peer;
    auto* srv = app.add_subcommand("serve", "a PAVA peer over TCP: accepts connections, reports what it receives as "
                                            "JSON Lines events, answers by script");
    auto* snd = app.add_subcommand("send", "connects to a PAVA peer, sends records or frames, reports what comes "
                                           "back; checks it (--expect) or loads the peer (--connections, --repeat)");
    srv->add_option("--listen", peer.listen, "HOST:PORT to listen on (port 0: any free one, printed on standard error)")
        ->capture_default_str();
    snd->add_option("TARGET", peer.target, "HOST:PORT to connect to")->required();
    snd->add_option("FILE", peer.input, "JSON records (or frames with --wire, --raw, --hex) to send; - for standard "
                                        "input; none: send nothing");
    bool sendWire = false, sendRaw = false, sendHex = false, summary = false;
    auto* sw = snd->add_flag("--wire", sendWire, "FILE holds frames in wire form, as `pava decode` reads them");
    auto* sr = snd->add_flag("--raw", sendRaw, "FILE holds whole 8208-byte frames")->excludes(sw);
    snd->add_flag("--hex", sendHex, "FILE holds frames as hex lines")->excludes(sw)->excludes(sr);
    snd->add_option("--wait", peer.wait,
                    "seconds to keep reading after the last send; also the longest a connection waits for the peer "
                    "to take any of what is sent")->capture_default_str();
    snd->add_option("--expect", peer.expect,
                    "a list of matchers that must all arrive within --wait (exit 1 and what is missing otherwise)");
    snd->add_option("--connections", peer.connections, "connections opened at once, each sending FILE")
        ->check(CLI::Range(1, 10000));
    snd->add_option("--repeat", peer.repeat, "times FILE is sent on each connection")->check(CLI::Range(1, 100000000));
    snd->add_option("--rate", peer.rate, "messages per second on each connection (0: as fast as they go)")
        ->check(CLI::Range(0.0, 1e7));
    snd->add_flag("--summary", summary, "print the load summary (on by itself with --connections, --repeat, --rate)");
    for (auto* sub : {srv, snd}) {
        sub->add_option("--script", peer.script, "answer by this script (JSON; see docs/peer.md)");
        sub->add_flag("--join", peer.join, "split messages reported (and answered) as one joined record");
        sub->add_flag("-q,--quiet", peer.quiet, "no frame events (open, skipped and close still)");
        sub->add_option("--max-pending", peer.maxPending,
                        "bytes of output a connection may have waiting; past it the connection is closed")
            ->capture_default_str()->check(CLI::Range(size_t{1024}, size_t{1} << 30));
        sub->add_option("--idle-timeout", peer.idleTimeout,
                        "seconds a connection may stay without receiving a byte (0: for ever)")->capture_default_str();
    }
    for (auto* sub : {srv, snd})
        sub->add_option("--record", peer.record,
                        "write every connection to this capture file (pcap), with its time stamps and a synthetic "
                        "TCP/IP framing, as `pava decode` and Wireshark read it");
    srv->add_option("--max-connections", peer.maxConnections, "connections at once; more are closed as they come")
        ->capture_default_str()->check(CLI::Range(1, 1000000));

    // replay: a recorded conversation played again through the peer's connections.
    pava::tool::replay::ReplayOptions rep;
    auto* rpl = app.add_subcommand(
        "replay", "plays one side of a recorded connection against a live peer (--to) at its recorded times, or "
                  "its server side to every client that connects (--serve); reports as send and serve do");
    rpl->footer("Exit codes: 0; 1 expectations not met; 2 command line, expect file, or no such connection in the "
                "capture; 3 the capture is damaged (what came before the damage was played); 4 cannot open the "
                "capture, connect or listen.");
    rpl->add_option("CAPTURE", rep.capture, "the recording: a pcap or pcapng file")->required();
    auto* rto = rpl->add_option("--to", rep.peer.target, "HOST:PORT to connect to and play one side against");
    auto* rsv = rpl->add_flag("--serve", rep.serve,
                              "listen and play the server side to each client that connects, every frame once the "
                              "client frames it followed in the recording have arrived")
                    ->excludes(rto);
    rpl->add_option("--listen", rep.peer.listen, "--serve: HOST:PORT to listen on (port 0: any free one)")
        ->capture_default_str()->needs(rsv);
    std::string side = "client";
    rpl->add_option("--side", side, "--to: whose frames are played")
        ->capture_default_str()->check(CLI::IsMember({"client", "server"}))->needs(rto);
    rpl->add_option("--connection", rep.connection, "the recorded connection, as `pava decode` numbers them")
        ->capture_default_str()->check(CLI::Range(uint64_t{1}, uint64_t{1} << 40));
    rpl->add_option("--port", rep.ports, "which connections are PAVA, as for `pava decode` (repeatable)")
        ->allow_extra_args(false)->check(CLI::Range(1, 65535));
    auto* rsp = rpl->add_option("--speed", rep.speed, "recorded times divided by this (2: twice as fast)")
                    ->capture_default_str()->check(CLI::Range(1e-3, 1e6));
    rpl->add_flag("--as-fast-as-possible", rep.asFastAsPossible, "--to: no waiting between frames")
        ->excludes(rsp)->needs(rto);
    rpl->add_flag("--timed", rep.timed, "--serve: no frame before its recorded time since the connection opened")
        ->needs(rsv);
    rpl->add_option("--wait", rep.peer.wait,
                    "seconds to keep reading after the last frame played; the longest the replay waits for the "
                    "peer's frames or for it to take what is sent")->capture_default_str();
    rpl->add_option("--expect", rep.peer.expect, "--to: matchers that must all arrive, as for send")->needs(rto);
    rpl->add_flag("--join", rep.peer.join, "split messages reported as one joined record");
    rpl->add_flag("-q,--quiet", rep.peer.quiet, "no frame events (open, skipped and close still)");
    rpl->add_option("--record", rep.peer.record, "write the replayed connections to this capture file (pcap)");
    rpl->add_option("--max-pending", rep.peer.maxPending, "bytes of output a connection may have waiting")
        ->capture_default_str()->check(CLI::Range(size_t{1024}, size_t{1} << 30));

    try {
        app.parse(argc, argv);
    } catch (const CLI::ParseError& e) {
        return app.exit(e) == 0 ? kExitOk : kExitUsage;
    }

    opts.form = raw ? FrameForm::Raw : hex ? FrameForm::Hex : FrameForm::Wire;
    opts.log = logTo.empty() ? LogTo::Off : logTo == "json" ? LogTo::Json : LogTo::Stderr;
    Pava_SetLogOutput(PAVA_LOG_OFF, nullptr, nullptr);
    try {
        if (*ids) return fmt::print("{}", listIds()), 0;
        if (*lay) return layout(idText, json);
        if (*wsh) return wireshark(luaOutput);
        if (*enc) return runEncode(opts);
        if (*srv) return pava::tool::peer::runServe(peer);
        if (*snd) {
            peer.inputFrames = sendWire || sendRaw || sendHex;
            peer.inputForm = sendRaw ? FrameForm::Raw : sendHex ? FrameForm::Hex : FrameForm::Wire;
            peer.summary = summary || peer.connections > 1 || peer.repeat > 1 || peer.rate > 0;
            return pava::tool::peer::runSend(peer);
        }
        if (*rpl) {
            if (rep.peer.target.empty() && !rep.serve) {
                fmt::print(stderr, "replay: --to HOST:PORT or --serve\n");
                return kExitUsage;
            }
            if (rep.serve && !rep.timed && rpl->count("--speed") > 0) {
                fmt::print(stderr, "replay: --speed applies to --to and to --serve --timed\n");
                return kExitUsage;
            }
            rep.playServer = side == "server";
            rep.peer.connections = 1;
            return pava::tool::replay::runReplay(rep);
        }
        if (*dec) return runDecode(opts);
        return runDissect(opts);
    } catch (const std::exception& e) {
        std::fflush(stdout);
        fmt::print(stderr, "pava: {}\n", e.what());
        return kExitIo;
    }
}
