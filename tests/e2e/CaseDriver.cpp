// The end-to-end cases: every "## Name" section of tests/e2e/cases/FILE.md
// is the test e2e.FILE.Name, run against a freshly started gateway (free
// loopback ports, a temporary directory, stand-in sockets for the radio side
// and the App). Lines indented by four spaces are steps, run in order; lines
// indented further continue the step above (joined with a blank); other
// lines are prose. Steps above the first section run first in every section
// of the file. A section stops at its first failing step, and passes only if
// nothing is left to arrive on either side at its end.
//
// A table ("| a | b |" rows under a header row and a "|---|" row) repeats
// the steps right below it once per row, {a} standing for the row's cell; a
// step whose every {column} is empty is left out for that row.
//
// Settings, before the first other step (the gateway starts then):
//   level LEVEL            log level of the configuration (default Debug)
//   args WORD...           arguments after the configuration file (CPU list)
//   argv [WORD...]         the whole command line instead; nothing is awaited
//   file NAME TEXT         writes TEXT to NAME in the temporary directory
// Input:
//   app ID SEQ [head H] [token T] [TYPE {TEXT} | data "BYTES"]
//                          an App envelope (head type 1, token "App" unless
//                          given): the body TYPE in protobuf text format
//                          serialised into data.value, or data.value given as
//                          an escaped string; no body: no data. ID is a
//                          MessageType name or a number.
//   app-bytes BYTES        a datagram to the App service as it stands
//   radio S>D MSGID/EXTRA [seq N] [: BYTES]
//                          a link frame from source S to dest D, its header
//                          checksum and CRC (closed with EXTRA) computed with
//                          the tests' own CRC; seq counts up per section
//   radio-bytes BYTES      a datagram to the radio service as it stands
// Expectations (every wait bounded):
//   to-radio BYTES         the next frame to the radio side, byte for byte
//   to-app ID HEAD SEQ [token T] [TYPE {TEXT} [> TYPE2 {TEXT2}]]
//                          the next App message, parsed strictly: header
//                          (token "Remote" unless given, device 0, source 2,
//                          version 0, a time stamp of now, no type_url), the
//                          body compared field by field; "> TYPE2" compares
//                          TYPE's data field, parsed as TYPE2, apart. No
//                          body: no data.
//   quiet [app|radio]      nothing arrives there (both unless given) in 100 ms
//   log LEVEL FILE TEXT    the whole log line "[LEVEL] FILE:<line> TEXT"
//   out TEXT / no TEXT     TEXT is / is not in the output (stdout and stderr)
//   count N TEXT           TEXT exactly N times in the output
//   mark                   output searches start from here on
//   in FILE TEXT           the file in the temporary directory holds TEXT
//   alive                  a key event and a time sync are still answered
//   signal NAME            sends SIGNAME (INT, HUP, TERM, SEGV) to the gateway
//   exits CODE / killed NAME   the gateway ends so within 5 s
//   runs MS                the gateway still runs after MS
//   N* STEP                the step N times
// TEXT takes the escapes of protobuf's text format (\n, \x07, \\).
// BYTES: hex digits in pairs ("fd0300" or "fd 03 00"), "text" (escaped as
// above), a range "40..c1", a repeat "00*20" or "\"Z\"*400", "~N" zeros up to
// N bytes in all, "??" any byte and a final "..." any rest (expectations). In
// every step {size} is the size of the last App message, {app}, {radio},
// {xolt}, {protobuf} the ports, {pid}, {dir}, {config}, {json}, {gateway}
// what they say, and {u8@N} (s8, u16, i16, u32) the little-endian value at
// payload offset N of the receive record as the frames sent so far left it:
// payload, then CRC, then older bytes.
#include <gtest/gtest.h>

#include <google/protobuf/any.pb.h>
#include <google/protobuf/text_format.h>
#include <google/protobuf/util/message_differencer.h>

#include <chrono>
#include <csignal>
#include <filesystem>
#include <fstream>
#include <functional>
#include <regex>
#include <sys/wait.h>
#include <thread>

#include "GatewayHarness.h"

namespace {

namespace gp = google::protobuf;
namespace qp = quelby::protocol;

struct Step {
    int line;
    std::string text;
};

struct Section {
    std::string file, suite, name;
    int line;
    std::vector<Step> steps;
};

using Table = std::vector<std::pair<int, std::vector<std::string>>>; // line, cells

std::string trim(const std::string& s)
{
    const size_t a = s.find_first_not_of(' ');
    return a == std::string::npos ? "" : s.substr(a, s.find_last_not_of(' ') - a + 1);
}

// The steps from `from` on once per table row (the first two rows are the
// header and the rule).
void unroll(std::vector<Step>& steps, Table& table, size_t from)
{
    const std::vector<Step> tmpl(steps.begin() + std::min(from, steps.size()), steps.end());
    steps.resize(std::min(from, steps.size()));
    for (size_t r = 2; r < table.size(); ++r) {
        for (Step step : tmpl) {
            bool used = false, filled = false;
            for (size_t c = 0; c < table[0].second.size() && c < table[r].second.size(); ++c) {
                const std::string key = "{" + table[0].second[c] + "}";
                for (size_t at; (at = step.text.find(key)) != std::string::npos; used = true) {
                    step.text.replace(at, key.size(), table[r].second[c]);
                    filled = filled || !table[r].second[c].empty();
                }
            }
            if (filled || !used) {
                steps.push_back({table[r].first, step.text});
            }
        }
    }
    table.clear();
}

std::vector<Section> readCases(const std::string& dir)
{
    std::vector<std::string> files;
    for (const auto& entry : std::filesystem::directory_iterator(dir)) {
        if (entry.path().extension() == ".md") {
            files.push_back(entry.path().string());
        }
    }
    std::sort(files.begin(), files.end());
    std::vector<Section> sections;
    for (const std::string& file : files) {
        std::ifstream in(file);
        std::vector<Step> preamble;
        std::vector<Step>* steps = &preamble;
        Table table;
        size_t from = 0;
        int number = 0;
        for (std::string line; std::getline(in, line);) {
            ++number;
            const bool step = line.rfind("    ", 0) == 0 && !trim(line).empty();
            if (!table.empty() && !step && !line.empty() && (line[0] != '|' || from != steps->size())) {
                unroll(*steps, table, from);
            }
            if (line.rfind("## ", 0) == 0) {
                const std::string stem = std::filesystem::path(file).stem().string();
                sections.push_back({file, stem, trim(line.substr(3)), number, preamble});
                steps = &sections.back().steps;
            } else if (line[0] == '|') {
                std::vector<std::string> cells;
                for (size_t i = 1, j; (j = line.find('|', i)) != std::string::npos; i = j + 1) {
                    cells.push_back(trim(line.substr(i, j - i)));
                }
                table.push_back({number, cells});
                from = steps->size();
            } else if (step && line.rfind("      ", 0) == 0 && !steps->empty()) {
                steps->back().text += " " + trim(line);
            } else if (step) {
                steps->push_back({number, line.substr(4)});
            }
        }
        if (!table.empty()) {
            unroll(*steps, table, from);
        }
    }
    return sections;
}

// A quoted string as protobuf's text format reads one.
bool unescape(const std::string& quoted, std::string& out)
{
    gp::Any any;
    const bool ok = gp::TextFormat::ParseFromString("value: " + quoted, &any);
    out = any.value();
    return ok;
}

// TEXT of a step: the escapes of a quoted string, without its quotes.
std::string text(const std::string& s)
{
    std::string out;
    return unescape("\"" + std::regex_replace(s, std::regex("\""), "\\\"") + "\"", out) ? out : s;
}

// BYTES as above; -1 stands for any byte, -2 for any rest.
bool parseBytes(const std::string& s, std::vector<int>& out)
{
    static const std::regex word(R"(\s*(?:(\.\.\.)|~(\d+)|([0-9a-fA-F]{2})\.\.([0-9a-fA-F]{2})|)"
                                 R"(((?:[0-9a-fA-F]{2}|\?\?)+|"(?:[^"\\]|\\.)*")(?:\*(\d+))?)(?=\s|$))");
    std::smatch m;
    for (auto at = s.cbegin(); at != s.cend() && std::regex_search(at, s.cend(), m, word,
                                                                   std::regex_constants::match_continuous);) {
        at = m[0].second;
        if (m[1].matched) {
            out.push_back(-2);
        } else if (m[2].matched) {
            out.resize(std::stoul(m[2]), 0);
        } else if (m[3].matched) {
            for (int b = std::stoi(m[3], nullptr, 16); b <= std::stoi(m[4], nullptr, 16); ++b) {
                out.push_back(b);
            }
        } else {
            std::string unit = m[5];
            const bool quoted = unit[0] == '"';
            std::vector<int> bytes;
            if (quoted && unescape(unit, unit)) {
                bytes.assign(unit.begin(), unit.end());
                for (int& b : bytes) {
                    b &= 0xFF;
                }
            }
            for (size_t k = 0; !quoted && k < unit.size(); k += 2) {
                bytes.push_back(unit[k] == '?' ? -1 : std::stoi(unit.substr(k, 2), nullptr, 16));
            }
            for (unsigned long n = m[6].matched ? std::stoul(m[6]) : 1; n > 0; --n) {
                out.insert(out.end(), bytes.begin(), bytes.end());
            }
        }
        if (trim(std::string(at, s.cend())).empty()) {
            return true;
        }
    }
    return trim(s).empty();
}

// "TYPE {TEXT}" as a message of that type; rest gets what follows it.
std::unique_ptr<gp::Message> parseMessage(const std::string& s, std::string& rest)
{
    const size_t open = s.find('{');
    const gp::Descriptor* d = open == std::string::npos ? nullptr
                                  : gp::DescriptorPool::generated_pool()->FindMessageTypeByName(
                                        "quelby.protocol." + trim(s.substr(0, open)));
    size_t close = open;
    for (int depth = 0; d != nullptr && close < s.size(); ++close) {
        if (s[close] == '"') {
            for (++close; close < s.size() && s[close] != '"'; close += s[close] == '\\' ? 2 : 1) {
            }
        }
        depth += s[close] == '{' ? 1 : s[close] == '}' ? -1 : 0;
        if (depth == 0) {
            break;
        }
    }
    if (d == nullptr || close >= s.size()) {
        return nullptr;
    }
    std::unique_ptr<gp::Message> m(gp::MessageFactory::generated_factory()->GetPrototype(d)->New());
    rest = s.substr(close + 1);
    return gp::TextFormat::ParseFromString(s.substr(open + 1, close - open - 1), m.get()) ? std::move(m) : nullptr;
}

bool messageId(const std::string& w, uint32_t& id)
{
    if (const gp::EnumValueDescriptor* v = qp::MessageType_descriptor()->FindValueByName(w)) {
        id = static_cast<uint32_t>(v->number());
        return true;
    }
    char* end = nullptr;
    id = static_cast<uint32_t>(std::strtoul(w.c_str(), &end, 0));
    return !w.empty() && *end == '\0';
}

bool within(int ms, const std::function<bool()>& ok)
{
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::milliseconds(ms);
    while (!ok()) {
        if (std::chrono::steady_clock::now() >= deadline) {
            return false;
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(5));
    }
    return true;
}

int64_t wallMs()
{
    using namespace std::chrono;
    return duration_cast<milliseconds>(system_clock::now().time_since_epoch()).count();
}

size_t occurrences(const std::string& s, const std::string& what)
{
    size_t n = 0;
    for (size_t at = s.find(what); at != std::string::npos; at = s.find(what, at + what.size())) {
        ++n;
    }
    return n;
}

// True when out holds the whole log line "[level] file:<digits> text".
bool hasLogLine(const std::string& out, const std::string& level, const std::string& file, const std::string& text)
{
    const std::string tag = "[" + level + "] " + file + ":";
    for (size_t at = out.find(" " + text + "\n"); at != std::string::npos; at = out.find(" " + text + "\n", at + 1)) {
        const size_t start = out.rfind('\n', at) == std::string::npos ? 0 : out.rfind('\n', at) + 1;
        const size_t tagAt = out.substr(start, at - start).rfind(tag);
        if (tagAt != std::string::npos && start + tagAt + tag.size() < at &&
            out.find_first_not_of("0123456789", start + tagAt + tag.size()) == at) {
            return true;
        }
    }
    return false;
}

int signalNumber(const std::string& name)
{
    const std::map<std::string, int> known{{"INT", SIGINT}, {"HUP", SIGHUP}, {"TERM", SIGTERM}, {"SEGV", SIGSEGV}};
    return known.count(name) ? known.at(name) : 0;
}

// One section against one gateway.
class CaseRun {
public:
    explicit CaseRun(const Section& s) : m_section(s) {}

    void run()
    {
        for (const Step& step : m_section.steps) {
            testing::ScopedTrace trace(m_section.file.c_str(), step.line, step.text);
            if (!m_started && setting(step.text)) {
                continue;
            }
            if (!m_started && !(m_started = true, start())) {
                return;
            }
            static const std::regex times(R"((\d+)\* (.*))");
            std::smatch m;
            const bool repeated = std::regex_match(step.text, m, times);
            for (int n = repeated ? std::stoi(m[1]) : 1; n > 0; --n) {
                if (!one(expand(repeated ? m[2].str() : step.text))) {
                    return;
                }
            }
        }
        testing::ScopedTrace trace(m_section.file.c_str(), m_section.line, "end of the section");
        quiet("");
    }

private:
    bool fail(const std::string& why)
    {
        const std::string out = h.output();
        ADD_FAILURE() << why << "\n--- gateway output (end):\n" << out.substr(out.size() > 3000 ? out.size() - 3000 : 0);
        return false;
    }

    bool setting(const std::string& step)
    {
        std::istringstream in(step);
        std::string keyword, word;
        in >> keyword;
        if (keyword == "level") {
            in >> m_level;
        } else if (keyword == "args" || keyword == "argv") {
            m_argv = keyword == "argv";
            while (in >> word) {
                m_args.push_back(expand(word));
            }
        } else if (keyword == "file") {
            in >> word;
            writeFile(h.dir.file(word), expand(trim(step.substr(step.find(word) + word.size()))));
        } else {
            return false;
        }
        return true;
    }

    bool start()
    {
        if (m_argv) {
            h.process.reset(new GatewayProcess(m_args, h.outputPath, h.dir.path()));
            return true;
        }
        return h.start(m_level, m_args) || fail("the gateway did not start");
    }

    std::string expand(const std::string& step)
    {
        static const std::regex field(R"(\{([a-z0-9]+)(?:@(\d+))?\})");
        const std::map<std::string, std::string> names{
            {"size", std::to_string(m_lastAppSize)}, {"app", std::to_string(h.app.port())},
            {"radio", std::to_string(h.radio.port())}, {"xolt", std::to_string(h.xoltPort)},
            {"protobuf", std::to_string(h.protobufPort)}, {"dir", h.dir.path()}, {"config", h.configPath},
            {"json", h.configJson(m_level)}, {"gateway", gatewayBinary()},
            {"pid", std::to_string(h.process ? h.process->pid() : 0)}};
        std::string out;
        auto last = step.cbegin();
        for (std::sregex_iterator it(step.begin(), step.end(), field), end; it != end; ++it) {
            const std::string name = (*it)[1];
            std::string value = names.count(name) ? names.at(name) : it->str();
            if ((*it)[2].matched) {
                const uint8_t* r = &m_record[std::min<size_t>(std::stoul((*it)[2]), m_record.size() - 4)];
                const uint32_t u32 = r[0] | r[1] << 8 | r[2] << 16 | static_cast<uint32_t>(r[3]) << 24;
                value = std::to_string(name == "u8"    ? int64_t{r[0]}
                                       : name == "s8"  ? int64_t{static_cast<int8_t>(r[0])}
                                       : name == "u16" ? int64_t{u32 & 0xFFFF}
                                       : name == "i16" ? int64_t{static_cast<int16_t>(u32)}
                                                       : int64_t{u32});
            }
            out.append(last, it->prefix().second) += value;
            last = it->suffix().first;
        }
        return out.append(last, step.cend());
    }

    bool one(const std::string& step)
    {
        const std::string keyword = step.substr(0, step.find(' '));
        const std::string rest = keyword.size() < step.size() ? step.substr(keyword.size() + 1) : "";
        std::vector<int> bytes;
        if (keyword == "app") {
            return sendApp(rest);
        } else if (keyword == "radio") {
            return sendRadio(rest);
        } else if (keyword == "app-bytes" || keyword == "radio-bytes") {
            return (parseBytes(rest, bytes) &&
                    (keyword == "app-bytes" ? h.sendEnvelope(std::string(bytes.begin(), bytes.end()))
                                            : h.sendFrame(std::string(bytes.begin(), bytes.end())))) ||
                   fail("bad bytes");
        } else if (keyword == "to-radio") {
            return toRadio(rest);
        } else if (keyword == "to-app") {
            return toApp(rest);
        } else if (keyword == "quiet") {
            return quiet(rest);
        } else if (keyword == "log") {
            std::istringstream in(rest);
            std::string level, file;
            in >> level >> file;
            const std::string line = text(rest.substr(std::min(rest.size(), level.size() + file.size() + 2)));
            return within(2000, [&] { return hasLogLine(h.output().substr(m_mark), level, file, line); }) ||
                   fail("no log line [" + level + "] " + file + ":<line> " + line);
        } else if (keyword == "out" || keyword == "no") {
            auto found = [&] { return h.output().find(text(rest), m_mark) != std::string::npos; };
            return (keyword == "out" ? within(2000, found) : !found()) || fail(keyword + ": " + text(rest));
        } else if (keyword == "count") {
            const size_t n = std::stoul(rest);
            const std::string what = text(rest.substr(rest.find(' ') + 1));
            auto count = [&] { return occurrences(h.output().substr(m_mark), what); };
            within(2000, [&] { return count() >= n; });
            std::this_thread::sleep_for(std::chrono::milliseconds(20));
            return count() == n || fail(std::to_string(count()) + " times, not " + std::to_string(n) + ": " + what);
        } else if (keyword == "mark") {
            m_mark = h.output().size();
            return true;
        } else if (keyword == "in") {
            const std::string file = rest.substr(0, rest.find(' ')), what = text(rest.substr(file.size() + 1));
            return within(2000, [&] { return readFile(h.dir.file(file)).find(what) != std::string::npos; }) ||
                   fail(file + " does not hold: " + what);
        } else if (keyword == "alive") {
            return one("radio 14>32 144/224 : 04 00*7") &&
                   one("to-app RC_HARDWARE_BUTTON_INFO_NTFY 4 0 RCHardwareButtonInfoNtfy"
                       " {buttontype: RC_BUTTON_TYPE_PHOTO buttonstate: RC_BUTTON_STATE_CLICK}") &&
                   one("app DRONE_UTC_TIME_SYNC_NTFY 0 DroneUTCTimeSync {gps_time: 1}") &&
                   one("to-radio fd 08 00 ?? 0e 20 18 ?? 01 00*7 ????");
        } else if (keyword == "signal") {
            h.process->signal(signalNumber(rest));
            return signalNumber(rest) != 0 || fail("unknown signal");
        } else if (keyword == "exits" || keyword == "killed") {
            const int status = h.process->waitExit(5000);
            const bool ok = status != -1 && (keyword == "exits" ? WIFEXITED(status) && WEXITSTATUS(status) == std::stoi(rest)
                                                                : WIFSIGNALED(status) && WTERMSIG(status) == signalNumber(rest));
            h.process.reset(); // an end that was expected
            return ok || fail(status == -1 ? "still running" : "ended with " + describeExit(status));
        } else if (keyword == "runs") {
            return h.process->waitExit(std::stoi(rest)) == -1 || fail("ended with " + describeExit(h.process->rawStatus()));
        }
        return fail("unknown step");
    }

    bool sendApp(const std::string& rest)
    {
        static const std::regex form(R"((\S+) (-?\d+)(?: head (\d+))?(?: token (\S+))?(?: data (".*")| (.+))?)");
        std::smatch m;
        uint32_t id = 0;
        if (!std::regex_match(rest, m, form) || !messageId(m[1], id)) {
            return fail("app ID SEQ [head H] [token T] [TYPE {TEXT} | data \"BYTES\"]");
        }
        qp::QuelbyMessage envelope;
        qp::CommonHead* head = envelope.mutable_head_data();
        head->set_token(m[4].matched ? m[4].str() : "App");
        head->set_head_type(m[3].matched ? std::stoi(m[3]) : 1);
        head->set_source_id(1);
        head->set_message_id(static_cast<qp::MessageType>(id));
        head->set_message_sequence(std::stoi(m[2]));
        head->set_time_stamp(1);
        std::string value, more;
        if (m[5].matched && !unescape(m[5], value)) {
            return fail("bad data");
        }
        if (m[6].matched) {
            std::unique_ptr<gp::Message> body = parseMessage(m[6], more);
            if (!body || !trim(more).empty()) {
                return fail("bad body");
            }
            value = body->SerializeAsString();
        }
        if (m[5].matched || m[6].matched) {
            envelope.mutable_data()->set_value(value);
        }
        return h.sendEnvelope(envelope.SerializeAsString()) || fail("send failed");
    }

    bool sendRadio(const std::string& rest)
    {
        static const std::regex form(R"((\d+)>(\d+) (\d+)/(\d+)(?: seq (\d+))?(?: : (.*))?)");
        std::smatch m;
        std::vector<int> payload;
        if (!std::regex_match(rest, m, form) || !parseBytes(m[6], payload)) {
            return fail("radio S>D MSGID/EXTRA [seq N] [: BYTES]");
        }
        const std::vector<uint8_t> frame =
            radioFrame(m[5].matched ? std::stoi(m[5]) : m_radioSeq++, std::stoi(m[2]), std::stoi(m[1]),
                       std::stoi(m[3]), std::vector<uint8_t>(payload.begin(), payload.end()), std::stoi(m[4]));
        std::copy(frame.begin() + 8, frame.begin() + std::min(frame.size(), 8 + m_record.size()), m_record.begin());
        return h.sendFrame(frame) || fail("send failed");
    }

    bool toRadio(const std::string& rest)
    {
        std::vector<int> want;
        std::string got;
        if (!parseBytes(rest, want)) {
            return fail("bad bytes");
        }
        if (!h.radio.receive(got, 2000)) {
            return fail("no frame to the radio side");
        }
        bool same = got.size() == want.size() || (!want.empty() && want.back() == -2);
        for (size_t i = 0; same && i < want.size() && want[i] != -2; ++i) {
            same = i < got.size() && (want[i] == -1 || want[i] == static_cast<uint8_t>(got[i]));
        }
        return same || fail("frame to the radio side: " + hexOf(got));
    }

    bool toApp(const std::string& rest)
    {
        static const std::regex form(R"((\S+) (\d+) (-?\d+)(?: token (\S+))?(?: (.+))?)");
        std::smatch m;
        uint32_t id = 0;
        if (!std::regex_match(rest, m, form) || !messageId(m[1], id)) {
            return fail("to-app ID HEAD SEQ [token T] [TYPE {TEXT} [> TYPE2 {TEXT2}]]");
        }
        const int64_t before = wallMs();
        std::string datagram;
        qp::QuelbyMessage envelope;
        if (!h.app.receive(datagram, 2000)) {
            return fail("no App message");
        }
        m_lastAppSize = datagram.size();
        if (!envelope.ParseFromString(datagram)) {
            return fail("not an envelope: " + hexOf(datagram));
        }
        const qp::CommonHead& head = envelope.head_data();
        if (head.token() != (m[4].matched ? m[4].str() : "Remote") || head.head_type() != std::stoi(m[2]) ||
            head.device_id() != 0 || head.source_id() != 2 || static_cast<uint32_t>(head.message_id()) != id ||
            head.message_sequence() != std::stoi(m[3]) || head.version() != 0 || head.time_stamp() < before - 5000 ||
            head.time_stamp() > wallMs() + 1000 || !envelope.data().type_url().empty() ||
            envelope.has_data() != m[5].matched) {
            return fail("App message: " + envelope.ShortDebugString());
        }
        std::string body = m[5], value = envelope.data().value();
        while (!trim(body).empty()) {
            std::string more;
            std::unique_ptr<gp::Message> want = parseMessage(body, more);
            if (!want) {
                return fail("bad body");
            }
            std::unique_ptr<gp::Message> got(want->New());
            if (!got->ParseFromString(value)) {
                return fail("not a " + want->GetTypeName() + ": " + hexOf(value));
            }
            if (trim(more)[0] == '>') {
                const gp::FieldDescriptor* data = got->GetDescriptor()->FindFieldByName("data");
                value = got->GetReflection()->GetString(*got, data);
                got->GetReflection()->ClearField(got.get(), data);
                more = trim(more).substr(1);
            }
            if (!gp::util::MessageDifferencer::Equals(*want, *got)) {
                return fail("App message body " + got->ShortDebugString() + "\n expected " + want->ShortDebugString());
            }
            body = more;
        }
        return true;
    }

    bool quiet(const std::string& side)
    {
        std::string got;
        for (int i = 0; i < 10; ++i) {
            if (side != "radio" && h.app.receive(got, 5)) {
                qp::QuelbyMessage envelope;
                envelope.ParseFromString(got);
                return fail("App message: " + envelope.ShortDebugString());
            }
            if (side != "app" && h.radio.receive(got, 5)) {
                return fail("frame to the radio side: " + hexOf(got));
            }
        }
        return true;
    }

    const Section& m_section;
    GatewayHarness h;
    std::string m_level = "Debug";
    std::vector<std::string> m_args;
    bool m_argv = false;
    bool m_started = false;
    size_t m_mark = 0;
    size_t m_lastAppSize = 0;
    uint8_t m_radioSeq = 0;
    std::vector<uint8_t> m_record = std::vector<uint8_t>(524, 0);
};

class CaseTest : public testing::Test {
public:
    explicit CaseTest(const Section& s) : m_section(s) {}
    void TestBody() override { CaseRun(m_section).run(); }

private:
    const Section& m_section;
};

} // namespace

int main(int argc, char** argv)
{
    testing::InitGoogleTest(&argc, argv);
    static const std::vector<Section> sections = readCases(LUMBRIX_SOURCE_DIR "/tests/e2e/cases");
    for (const Section& s : sections) {
        testing::RegisterTest(s.suite.c_str(), s.name.c_str(), nullptr, nullptr, s.file.c_str(), s.line,
                              [&s]() -> testing::Test* { return new CaseTest(s); });
    }
    return RUN_ALL_TESTS();
}
