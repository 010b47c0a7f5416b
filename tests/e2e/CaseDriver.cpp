// The end-to-end cases: every "## Name" section of tests/e2e/cases/FILE.md
// is the test e2e.FILE.Name, run against a freshly started gateway (free
// loopback ports, a temporary directory, stand-in sockets for the radio side
// and the App). Lines indented by four spaces are steps, run in order; other
// lines are prose. Steps above the first section run first in every section
// of the file. A section stops at its first failing step, and passes only if
// nothing is left to arrive on either side at its end.
//
// A table ("| a | b |" rows under a header row and a "|---|" row) repeats
// the steps right below it, up to a blank line, once per row, {a} standing
// for the row's cell; a step whose every {column} is empty is left out.
//
// Settings, before the first other step (the gateway starts then):
//   native                 the section is skipped for a gateway run through an
//                          emulator (whose threads and signals are its own)
//   level LEVEL            log level of the configuration (default Info)
//   args WORD...           arguments after the configuration file (CPU list)
//   argv [WORD...]         the whole command line instead; nothing is awaited
//   file NAME TEXT         writes TEXT to NAME in the temporary directory
//   config TEXT            adds TEXT (members) to the configuration's root
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
//                          body: no data. Envelope and bodies byte for byte
//                          as protobuf serialises what they hold.
//   quiet [app|radio]      nothing arrives there (both unless given) in 100 ms
//   log LEVEL FILE TEXT [| TEXT...]   each a whole log line
//                          "[LEVEL] FILE:<line> TEXT"
//   out TEXT [| TEXT...] / no TEXT [| TEXT...]
//                          each TEXT is / is not in the output (stdout, stderr)
//   count N TEXT           TEXT exactly N times in the output
//   match REGEX            the output matches REGEX (ECMAScript)
//   mark                   output searches start from here on
//   in FILE TEXT           the file in the temporary directory holds TEXT
//   alive                  a key event and a time sync are still answered
//   signal NAME            sends SIGNAME to the gateway (HUP, RTMIN+3, RTMAX-1 ...)
//   storm N NAME...        from now on, in the background, N signals a few ms
//                          apart, the names in turn; calm waits for its end
//   threads N NAME...      the gateway runs N threads, each but the main one
//                          blocking exactly the named signals (RTMIN..RTMIN+3
//                          for a range)
//   fsize N                the log file is padded past the output so far, then
//                          the gateway may write no file more than N bytes past
//                          its end (the log's own writes reach the limit first)
//   exits CODE / killed NAME   the gateway ends so within 5 s
//   runs MS                the gateway still runs after MS
//   idle MS                over the next MS the gateway spends less than a
//                          quarter of that on a CPU
//   STEP => STEP ...       the steps in turn (an input and what must come of it)
//   N* STEP                the step (or chain) N times
// TEXT takes the escapes of protobuf's text format (\n, \x07, \\).
// BYTES (kit/TestMessages.h), words separated by blanks: hex digits in pairs
// ("fd0300"), "text" without blanks (escaped as above), a range "40..c1", a
// repeat "00*20" or "\"Z\"*400", "~N" zeros up to N bytes in all, "??" any
// byte and a final "..." any rest (the last two in expectations).
// In every step {size} is the size of the last App message, {app}, {radio},
// {xolt}, {protobuf} the ports, {pid}, {dir}, {config}, {json} (the
// configuration's text), {gateway} what they say, and {u8@N} (s8, u16, i16,
// u32) the little-endian value at payload offset N of the gateway's receive
// record as the frames sent so far left it: payload, CRC, older bytes.
#include <gtest/gtest.h>

#include <google/protobuf/util/message_differencer.h>

#include <chrono>
#include <csignal>
#include <filesystem>
#include <fstream>
#include <regex>
#include <sys/resource.h>
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

using Table = std::vector<std::pair<int, std::vector<std::string>>>; // line number, cells

std::string trim(const std::string& s)
{
    const size_t a = s.find_first_not_of(' ');
    return a == std::string::npos ? "" : s.substr(a, s.find_last_not_of(' ') - a + 1);
}

// The steps from `from` on, once per table row after the header and rule.
void unroll(std::vector<Step>& steps, Table& table, size_t from)
{
    const std::vector<Step> tmpl(steps.begin() + from, steps.end());
    steps.resize(from);
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
    std::vector<std::filesystem::path> files;
    for (const auto& entry : std::filesystem::directory_iterator(dir)) {
        if (entry.path().extension() == ".md") {
            files.push_back(entry.path());
        }
    }
    std::sort(files.begin(), files.end());
    std::vector<Section> sections;
    for (const std::filesystem::path& file : files) {
        std::ifstream in(file);
        std::vector<Step> preamble;
        std::vector<Step>* steps = &preamble;
        Table table;
        size_t from = 0;
        int number = 0;
        for (std::string line; std::getline(in, line) || !table.empty(); line.clear()) {
            const bool step = line.rfind("    ", 0) == 0 && !trim(line).empty();
            if (!table.empty() && !step && (!in || from != steps->size() || (!line.empty() && line[0] != '|'))) {
                unroll(*steps, table, from);
            }
            ++number;
            if (line.rfind("## ", 0) == 0) {
                sections.push_back({file.string(), file.stem().string(), trim(line.substr(3)), number, preamble});
                steps = &sections.back().steps;
            } else if (line[0] == '|') {
                table.push_back({number, {}});
                for (size_t i = 1, j; (j = line.find('|', i)) != std::string::npos; i = j + 1) {
                    table.back().second.push_back(trim(line.substr(i, j - i)));
                }
                from = steps->size();
            } else if (step) {
                steps->push_back({number, line.substr(4)});
            }
        }
    }
    return sections;
}

// TEXT of a step: the escapes of a quoted string, without its quotes.
std::string text(const std::string& s)
{
    std::string out;
    return unescape("\"" + std::regex_replace(s, std::regex("\""), "\\\"") + "\"", out) ? out : s;
}

// BYTES, parsed once: steps repeated thousands of times give the same texts.
bool bytesOfStep(const std::string& s, std::vector<int>& out)
{
    static std::map<std::string, std::pair<bool, std::vector<int>>> s_seen;
    auto seen = s_seen.find(s);
    if (seen == s_seen.end()) {
        seen = s_seen.emplace(s, std::pair<bool, std::vector<int>>()).first;
        seen->second.first = parseBytes(s, seen->second.second);
    }
    out = seen->second.second;
    return seen->second.first;
}

bool messageId(const std::string& w, uint32_t& id)
{
    const gp::EnumValueDescriptor* v = qp::MessageType_descriptor()->FindValueByName(w);
    char* end = nullptr;
    id = v ? static_cast<uint32_t>(v->number()) : static_cast<uint32_t>(std::strtoul(w.c_str(), &end, 0));
    return v || (!w.empty() && *end == '\0');
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

// "HUP", "RTMIN+3", "RTMAX-1" as a signal number; 0 for another word.
int signalNumber(const std::string& name)
{
    if (name == "IO") {
        return SIGIO; // the C library names it POLL
    }
    for (int sig = 1; sig < SIGRTMIN; ++sig) {
        if (sigabbrev_np(sig) != nullptr && name == sigabbrev_np(sig)) {
            return sig;
        }
    }
    std::smatch m;
    static const std::regex rt(R"(RT(MIN|MAX)(?:([+-])(\d+))?)");
    if (!std::regex_match(name, m, rt)) {
        return 0;
    }
    const int offset = m[2].matched ? (m[2] == "+" ? 1 : -1) * std::stoi(m[3]) : 0;
    return (m[1] == "MIN" ? SIGRTMIN : SIGRTMAX) + offset;
}

// The signals NAME..., in turn; "A..B" stands for A to B. Empty at a word
// that names none.
std::vector<int> signalList(const std::string& names)
{
    std::istringstream words(names);
    std::vector<int> out;
    for (std::string word; words >> word;) {
        const size_t dots = word.find("..");
        const int first = signalNumber(word.substr(0, dots));
        const int last = dots == std::string::npos ? first : signalNumber(word.substr(dots + 2));
        if (first == 0 || last < first) {
            return {};
        }
        for (int sig = first; sig <= last; ++sig) {
            out.push_back(sig);
        }
    }
    return out;
}

// One section against one gateway.
class CaseRun : public testing::Test {
public:
    explicit CaseRun(const Section& s) : m_section(s) {}
    ~CaseRun() override
    {
        if (m_storm.joinable()) {
            m_storm.join();
        }
    }

    void TestBody() override
    {
        static const std::regex times(R"((\d+)\* (.*))");
        for (const Step& step : m_section.steps) {
            testing::ScopedTrace trace(m_section.file.c_str(), step.line, step.text);
            std::smatch m;
            const bool repeated = std::regex_match(step.text, m, times);
            const TForm* form = formOf(step.text);
            if (!m_started && step.text == "native" && getenv("LUMBRIX_EXEC_WRAPPER") != nullptr) {
                GTEST_SKIP() << "a native gateway only";
            } else if (!m_started && !(form != nullptr && form->setting) && !(m_started = true, start())) {
                return;
            }
            // A setting expands its own words.
            for (int n = repeated ? std::stoi(m[1]) : 1; n > 0; --n) {
                if (!one(form != nullptr && form->setting ? step.text : expand(repeated ? m[2].str() : step.text))) {
                    return;
                }
            }
        }
        testing::ScopedTrace trace(m_section.file.c_str(), m_section.line, "end of the section");
        quiet("", std::smatch());
    }

private:
    // A step: what follows its keyword (a regular expression whose groups
    // the step reads), whether it is a setting, and what it does.
    struct TForm {
        const char* words;
        bool setting;
        bool (CaseRun::*run)(const std::string& keyword, const std::smatch& m);
    };

    static const TForm* formOf(const std::string& step)
    {
        static const std::map<std::string, TForm> s_forms = {
            {"native", {"", true, &CaseRun::setting}},
            {"level", {R"((\w+))", true, &CaseRun::setting}},
            {"args", {"(.+)", true, &CaseRun::setting}},
            {"argv", {"(.*)", true, &CaseRun::setting}},
            {"file", {R"((\S+) (.*))", true, &CaseRun::setting}},
            {"config", {"(.+)", true, &CaseRun::setting}},
            {"app", {R"((\S+) (-?\d+)(?: head (\d+))?(?: token (\S+))?(?: data (".*")| (.+))?)", false, &CaseRun::app}},
            {"app-bytes", {"(.*)", false, &CaseRun::sendBytes}},
            {"radio", {R"((\d+)>(\d+) (\d+)/(\d+)(?: seq (\d+))?(?: : (.*))?)", false, &CaseRun::radio}},
            {"radio-bytes", {"(.*)", false, &CaseRun::sendBytes}},
            {"to-radio", {"(.*)", false, &CaseRun::toRadio}},
            {"to-app", {R"((\S+) (\d+) (-?\d+)(?: token (\S+))?(?: (.+))?)", false, &CaseRun::toApp}},
            {"quiet", {"(app|radio)?", false, &CaseRun::quiet}},
            {"log", {R"((\w+) (\S+) (.+))", false, &CaseRun::lines}},
            {"out", {"(.+)", false, &CaseRun::lines}},
            {"no", {"(.+)", false, &CaseRun::lines}},
            {"count", {R"((\d+) (.+))", false, &CaseRun::count}},
            {"match", {"(.+)", false, &CaseRun::match}},
            {"mark", {"", false, &CaseRun::mark}},
            {"in", {R"((\S+) (.+))", false, &CaseRun::inFile}},
            {"alive", {"", false, &CaseRun::alive}},
            {"signal", {R"((\S+))", false, &CaseRun::signal}},
            {"storm", {R"((\d+) (.+))", false, &CaseRun::storm}},
            {"calm", {"", false, &CaseRun::storm}},
            {"threads", {R"((\d+) (.+))", false, &CaseRun::threads}},
            {"fsize", {R"((\d+))", false, &CaseRun::fileSizeLimit}},
            {"exits", {R"((\d+))", false, &CaseRun::ends}},
            {"killed", {R"((\S+))", false, &CaseRun::ends}},
            {"runs", {R"((\d+))", false, &CaseRun::runs}},
            {"idle", {R"((\d+))", false, &CaseRun::idle}},
        };
        const auto found = s_forms.find(step.substr(0, step.find(' ')));
        return found == s_forms.end() ? nullptr : &found->second;
    }

    // A step, or a chain of them: its words are matched against its form,
    // then it runs.
    bool one(const std::string& step)
    {
        const size_t chain = step.find(" => ");
        if (chain != std::string::npos) {
            return one(step.substr(0, chain)) && one(step.substr(chain + 4));
        }
        static std::map<const TForm*, std::regex> s_compiled;
        const TForm* form = formOf(step);
        if (form == nullptr || form->setting == m_started) {
            return fail(form == nullptr ? "unknown step" : "a setting after the first other step");
        }
        const std::regex& words = s_compiled.try_emplace(form, form->words).first->second;
        const std::string keyword = step.substr(0, step.find(' '));
        const std::string rest = keyword.size() < step.size() ? step.substr(keyword.size() + 1) : "";
        std::smatch m;
        return std::regex_match(rest, m, words) ? (this->*form->run)(keyword, m)
                                                : fail("not of the form: " + keyword + " " + form->words);
    }

    bool fail(const std::string& why)
    {
        const std::string out = h.output();
        ADD_FAILURE() << why << "\n--- gateway output (end):\n"
                      << out.substr(out.size() > 3000 ? out.size() - 3000 : 0);
        return false;
    }

    bool start()
    {
        if (m_argv) {
            h.process.reset(new GatewayProcess(m_args, h.outputPath, h.dir.path()));
        }
        return m_argv || h.start(m_level, m_args) || fail("the gateway did not start");
    }

    std::string expand(const std::string& step)
    {
        const std::map<std::string, std::string> names{{"size", std::to_string(m_lastAppSize)},
                                                       {"app", std::to_string(h.app.port())},
                                                       {"radio", std::to_string(h.radio.port())},
                                                       {"xolt", std::to_string(h.xoltPort)},
                                                       {"protobuf", std::to_string(h.protobufPort)},
                                                       {"dir", h.dir.path()},
                                                       {"config", h.configPath},
                                                       {"json", h.configJson(m_level)},
                                                       {"gateway", gatewayBinary()},
                                                       {"pid", std::to_string(h.process ? h.process->pid() : 0)}};
        // {name} or {name@N}: scanned by hand, as steps repeated thousands of
        // times are expanded each time.
        std::string out;
        size_t last = 0;
        for (size_t open = step.find('{'); open != std::string::npos; open = step.find('{', open + 1)) {
            const size_t end = step.find_first_not_of("abcdefghijklmnopqrstuvwxyz0123456789", open + 1);
            const size_t at = end != std::string::npos && step[end] == '@' ? end : std::string::npos;
            const size_t close = at != std::string::npos ? step.find_first_not_of("0123456789", at + 1) : end;
            if (end == open + 1 || close == std::string::npos || step[close] != '}' || close == at + 1) {
                continue;
            }
            const std::string name = step.substr(open + 1, end - open - 1);
            const uint8_t* r =
                &m_record[std::min<size_t>(at != std::string::npos ? std::stoul(step.substr(at + 1)) : 0, 520)];
            const uint32_t u32 = r[0] | r[1] << 8 | r[2] << 16 | static_cast<uint32_t>(r[3]) << 24;
            const std::map<std::string, int64_t> record{{"u8", r[0]},
                                                        {"s8", static_cast<int8_t>(r[0])},
                                                        {"u16", u32 & 0xFFFF},
                                                        {"i16", static_cast<int16_t>(u32)},
                                                        {"u32", u32}};
            if (at != std::string::npos && record.count(name)) {
                out.append(step, last, open - last) += std::to_string(record.at(name));
            } else if (at == std::string::npos && names.count(name)) {
                out.append(step, last, open - last) += names.at(name);
            } else {
                continue;
            }
            last = close + 1;
        }
        return out.append(step, last, std::string::npos);
    }

    // Settings; each expands its own words.
    bool setting(const std::string& keyword, const std::smatch& m)
    {
        std::istringstream words(m.size() > 1 ? m[1].str() : "");
        if (keyword == "level") {
            m_level = m[1];
        } else if (keyword == "args" || keyword == "argv") {
            m_argv = keyword == "argv";
            for (std::string word; words >> word;) {
                m_args.push_back(expand(word));
            }
        } else if (keyword == "file") {
            return writeFile(h.dir.file(m[1]), expand(m[2])) || fail("cannot write " + m[1].str());
        } else if (keyword == "config") {
            h.extraConfig = expand(m[1]);
        }
        return true;
    }

    // Input.
    bool app(const std::string&, const std::smatch& m)
    {
        uint32_t id = 0;
        std::unique_ptr<gp::Message> body;
        std::string value;
        if (!messageId(m[1], id) || (m[5].matched && !unescape(m[5], value)) ||
            (m[6].matched && !(body = messageOf(m[6])))) {
            return fail("no such App message id, or a body or data that does not parse");
        }
        qp::QuelbyMessage envelope;
        envelope.ParseFromString(appRequest(id, std::stoi(m[2]), body.get(), m[3].matched ? std::stoi(m[3]) : 1,
                                            m[4].matched ? m[4].str() : "App"));
        if (m[5].matched) {
            envelope.mutable_data()->set_value(value);
        }
        return h.sendEnvelope(envelope.SerializeAsString()) || fail("send failed");
    }

    bool radio(const std::string&, const std::smatch& m)
    {
        std::vector<int> payload;
        if (!bytesOfStep(m[6], payload)) {
            return fail("bad bytes");
        }
        const std::vector<uint8_t> frame =
            radioFrame(m[5].matched ? std::stoi(m[5]) : m_radioSeq++, std::stoi(m[2]), std::stoi(m[1]), std::stoi(m[3]),
                       std::vector<uint8_t>(payload.begin(), payload.end()), std::stoi(m[4]));
        std::copy(frame.begin() + 8, frame.begin() + std::min(frame.size(), 8 + m_record.size()), m_record.begin());
        return h.sendFrame(std::string(frame.begin(), frame.end())) || fail("send failed");
    }

    bool sendBytes(const std::string& keyword, const std::smatch& m)
    {
        std::vector<int> bytes;
        const bool ok = bytesOfStep(m[1], bytes);
        const std::string datagram(bytes.begin(), bytes.end());
        return (ok && (keyword == "app-bytes" ? h.sendEnvelope(datagram) : h.sendFrame(datagram))) || fail("bad bytes");
    }

    // Expectations.
    bool toRadio(const std::string&, const std::smatch& m)
    {
        std::vector<int> want;
        std::string got;
        if (!bytesOfStep(m[1], want) || !h.radio.receive(got, 2000)) {
            return fail("bad bytes, or no frame to the radio side");
        }
        bool same = got.size() == want.size() || (!want.empty() && want.back() == -2);
        for (size_t i = 0; same && i < want.size() && want[i] != -2; ++i) {
            same = i < got.size() && (want[i] == -1 || want[i] == static_cast<uint8_t>(got[i]));
        }
        return same || fail("frame to the radio side: " + hexOf(got));
    }

    bool toApp(const std::string&, const std::smatch& m)
    {
        uint32_t id = 0;
        std::string datagram;
        qp::QuelbyMessage envelope;
        const int64_t before = wallMs();
        if (!messageId(m[1], id)) {
            return fail("no such App message id");
        } else if (!h.app.receive(datagram, 2000) || !envelope.ParseFromString(datagram) ||
                   envelope.SerializeAsString() != datagram) {
            return fail("no App message, or not an envelope as serialised: " + hexOf(datagram));
        }
        m_lastAppSize = datagram.size();
        const qp::CommonHead& head = envelope.head_data();
        if (head.token() != (m[4].matched ? m[4].str() : "Remote") || head.head_type() != std::stoi(m[2]) ||
            head.device_id() != 0 || head.source_id() != 2 || static_cast<uint32_t>(head.message_id()) != id ||
            head.message_sequence() != std::stoi(m[3]) || head.version() != 0 || head.time_stamp() < before - 5000 ||
            head.time_stamp() > wallMs() + 1000 || !envelope.data().type_url().empty() ||
            envelope.has_data() != m[5].matched) {
            return fail("App message: " + envelope.ShortDebugString());
        }
        std::string value = envelope.data().value(), body = m[5];
        for (size_t next; !body.empty(); body = next == std::string::npos ? "" : body.substr(next + 3)) {
            std::unique_ptr<gp::Message> want = messageOf(body.substr(0, next = body.find(" > ")));
            std::unique_ptr<gp::Message> got(want ? want->New() : nullptr);
            if (!got || !got->ParseFromString(value) || got->SerializeAsString() != value) {
                return fail("bad body, or the App message's is not one as serialised: " + hexOf(value));
            } else if (next != std::string::npos) { // the rest describes its data
                const gp::FieldDescriptor* data = got->GetDescriptor()->FindFieldByName("data");
                value = got->GetReflection()->GetString(*got, data);
                got->GetReflection()->ClearField(got.get(), data);
            }
            if (!gp::util::MessageDifferencer::Equals(*want, *got)) {
                return fail("App message body " + got->ShortDebugString() + "\n expected " + want->ShortDebugString());
            }
        }
        return true;
    }

    bool quiet(const std::string&, const std::smatch& m)
    {
        const std::string side = m.empty() ? "" : m[1].str();
        std::string got;
        for (int i = 0; i < 10; ++i) {
            if ((side != "radio" && h.app.receive(got, 5)) || (side != "app" && h.radio.receive(got, 5))) {
                return fail("unexpected datagram: " + hexOf(got));
            }
        }
        return true;
    }

    // The output since the mark.
    std::string output() const { return h.output().substr(m_mark); }

    // log, out, no: each TEXT, " | " between them.
    bool lines(const std::string& keyword, const std::smatch& m)
    {
        const bool log = keyword == "log";
        for (const std::string& part : partsOf(m[log ? 3 : 1])) {
            const std::string one = text(part);
            auto found = [&] {
                return log ? hasLogLine(output(), m[1], m[2], one) : output().find(one) != std::string::npos;
            };
            if (keyword == "no" ? found() : !within(2000, found)) {
                return fail(keyword + " " + (log ? m[1].str() + " " + m[2].str() + " " : "") + one);
            }
        }
        return true;
    }

    bool count(const std::string&, const std::smatch& m)
    {
        const size_t n = std::stoul(m[1]);
        const std::string what = text(m[2]);
        within(2000, [&] { return countOf(output(), what) >= n; });
        std::this_thread::sleep_for(std::chrono::milliseconds(20));
        const size_t got = countOf(output(), what);
        return got == n || fail(std::to_string(got) + " times, not " + std::to_string(n) + ": " + what);
    }

    bool match(const std::string&, const std::smatch& m)
    {
        const std::regex pattern(m[1].str());
        return within(2000, [&] { return std::regex_search(output(), pattern); }) || fail("no match for " + m[1].str());
    }

    bool mark(const std::string&, const std::smatch&)
    {
        m_mark = h.output().size();
        return true;
    }

    bool inFile(const std::string&, const std::smatch& m)
    {
        const std::string what = text(m[2]);
        return within(2000, [&] { return readFile(h.dir.file(m[1])).find(what) != std::string::npos; }) ||
               fail(m[1].str() + " does not hold: " + what);
    }

    bool alive(const std::string&, const std::smatch&)
    {
        return one("radio 14>32 144/224 : 04 00*7") &&
               one("to-app RC_HARDWARE_BUTTON_INFO_NTFY 4 0 RCHardwareButtonInfoNtfy"
                   " {buttontype: RC_BUTTON_TYPE_PHOTO buttonstate: RC_BUTTON_STATE_CLICK}") &&
               one("app DRONE_UTC_TIME_SYNC_NTFY 0 DroneUTCTimeSync {gps_time: 1}") &&
               one("to-radio fd 08 00 ?? 0e 20 18 ?? 01 00*7 ????");
    }

    // The gateway's process.
    bool signal(const std::string&, const std::smatch& m)
    {
        const int sig = signalNumber(m[1]);
        if (sig != 0) {
            h.process->signal(sig);
        }
        return sig != 0 || fail("no such signal");
    }

    // storm N NAME...: the sender thread starts; calm: it has ended.
    bool storm(const std::string& keyword, const std::smatch& m)
    {
        if (m_storm.joinable()) {
            m_storm.join();
        }
        const int count = keyword == "storm" ? std::stoi(m[1]) : 0;
        const std::vector<int> kinds = signalList(count > 0 ? m[2].str() : "");
        if (count > 0 && kinds.empty()) {
            return fail("no such signal");
        }
        const pid_t pid = h.process->pid();
        m_storm = count == 0 ? std::thread() : std::thread([pid, count, kinds] {
            for (int i = 0; i < count; ++i) {
                kill(pid, kinds[i % kinds.size()]);
                std::this_thread::sleep_for(std::chrono::milliseconds(3));
            }
        });
        return true;
    }

    // Every thread but the main one blocks exactly the signals named: bit
    // n-1 of the SigBlk line of /proc/PID/task/TID/status for signal n.
    bool threads(const std::string&, const std::smatch& m)
    {
        uint64_t want = 0;
        for (int sig : signalList(m[2])) {
            want |= uint64_t{1} << (sig - 1);
        }
        const std::string task = "/proc/" + std::to_string(h.process->pid()) + "/task/";
        std::vector<std::string> tids;
        std::error_code error;
        for (const auto& entry : std::filesystem::directory_iterator(task, error)) {
            tids.push_back(entry.path().filename());
        }
        if (want == 0 || tids.size() != std::stoul(m[1])) {
            return fail(std::to_string(tids.size()) + " threads, or no such signal");
        }
        for (const std::string& tid : tids) {
            const std::string status = readFile(task + tid + "/status");
            const size_t at = status.find("SigBlk:");
            const uint64_t got = at == std::string::npos ? 0 : std::stoull(status.substr(at + 7), nullptr, 16);
            for (int sig = 1; sig <= 64 && tid != std::to_string(h.process->pid()); ++sig) {
                if ((got >> (sig - 1) & 1) != (want >> (sig - 1) & 1)) {
                    return fail("thread " + tid + (got >> (sig - 1) & 1 ? " blocks " : " does not block ") + "signal " +
                                std::to_string(sig));
                }
            }
        }
        return true;
    }

    // The output file is written as often as the log file (every line goes
    // to both) and is unbuffered: the log, padded past it, reaches the limit
    // first, and with a write of the thread that logs.
    bool fileSizeLimit(const std::string&, const std::smatch& m)
    {
        const std::string output = h.output();
        std::ofstream(h.logPath, std::ios::app) << std::string(output.size() + 65536, '.') << "\n";
        const rlim_t limit = std::filesystem::file_size(h.logPath) + std::stoull(m[1]);
        const rlimit both{limit, limit};
        return prlimit(h.process->pid(), RLIMIT_FSIZE, &both, nullptr) == 0 || fail("prlimit");
    }

    // exits CODE, killed NAME.
    bool ends(const std::string& keyword, const std::smatch& m)
    {
        const int status = h.process->waitExit(5000);
        h.process.reset(); // an end that was expected
        return (status != -1 && (keyword == "exits" ? WIFEXITED(status) && WEXITSTATUS(status) == std::stoi(m[1])
                                                    : WIFSIGNALED(status) && WTERMSIG(status) == signalNumber(m[1]))) ||
               fail(status == -1 ? "still running" : "ended with " + describeExit(status));
    }

    bool runs(const std::string&, const std::smatch& m)
    {
        return h.process->waitExit(std::stoi(m[1])) == -1 || fail("ended with " + describeExit(h.process->waitExit(0)));
    }

    bool idle(const std::string&, const std::smatch& m)
    {
        const unsigned long long before = h.process->cpuTimeNs();
        const int ms = std::stoi(m[1]);
        std::this_thread::sleep_for(std::chrono::milliseconds(ms));
        const long long spent = static_cast<long long>(h.process->cpuTimeNs() - before) / 1000000;
        return spent < ms / 4 || fail("the gateway spent " + std::to_string(spent) + " ms on a CPU in " + m[1].str());
    }

    const Section& m_section;
    GatewayHarness h;
    std::thread m_storm; // joined before the gateway goes
    std::string m_level = "Info";
    std::vector<std::string> m_args;
    bool m_argv = false, m_started = false;
    size_t m_mark = 0, m_lastAppSize = 0;
    uint8_t m_radioSeq = 0;
    std::vector<uint8_t> m_record = std::vector<uint8_t>(524, 0);
};

} // namespace

int main(int argc, char** argv)
{
    testing::InitGoogleTest(&argc, argv);
    static const std::vector<Section> sections = readCases(LUMBRIX_SOURCE_DIR "/tests/e2e/cases");
    for (const Section& s : sections) {
        testing::RegisterTest(s.suite.c_str(), s.name.c_str(), nullptr, nullptr, s.file.c_str(), s.line,
                              [&s]() -> testing::Test* { return new CaseRun(s); });
    }
    return RUN_ALL_TESTS();
}
