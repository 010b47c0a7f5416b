// Writes the seed corpus of every fuzz target into the directory given on
// the command line, one subdirectory per target: well-formed traffic of
// every kind the gateway handles (SampleTraffic.h), alone and run together,
// and the sample configurations.
#include <sys/stat.h>

#include <cstdio>
#include <fstream>
#include <string>
#include <vector>

#include "SampleTraffic.h"

namespace {

bool writeSeed(const std::string& dir, const std::string& name, const std::string& bytes)
{
    std::ofstream out(dir + "/" + name, std::ios::binary | std::ios::trunc);
    out << bytes;
    return static_cast<bool>(out);
}

bool writeAll(const std::string& dir, const std::vector<TSampleMessage>& samples)
{
    mkdir(dir.c_str(), 0755);
    for (const TSampleMessage& m : samples) {
        if (!writeSeed(dir, m.name, m.bytes)) {
            return false;
        }
    }
    return true;
}

// A few datagrams of the link side as they also come: frames back to back,
// a frame after garbage, and a frame cut short.
std::vector<TSampleMessage> linkStreams(const std::vector<TSampleMessage>& frames)
{
    std::vector<TSampleMessage> out;
    TSampleMessage all;
    all.name = "stream_every_frame";
    for (const TSampleMessage& f : frames) {
        if (all.bytes.size() + f.bytes.size() > 4096) {
            break;
        }
        all.bytes += f.bytes;
    }
    out.push_back(all);
    TSampleMessage garbage;
    garbage.name = "stream_garbage_then_frame";
    garbage.bytes = std::string("\x01\xFD\x00\x02\xFD", 5) + frames.front().bytes;
    out.push_back(garbage);
    TSampleMessage cut;
    cut.name = "stream_cut_frame";
    cut.bytes = frames.back().bytes.substr(0, frames.back().bytes.size() / 2) + frames.front().bytes;
    out.push_back(cut);
    return out;
}

} // namespace

int main(int argc, char** argv)
{
    if (argc != 2) {
        fprintf(stderr, "usage: %s OUTPUT_DIR\n", argv[0]);
        return 1;
    }
    const std::string base = argv[1];
    mkdir(base.c_str(), 0755);

    const std::vector<TSampleMessage> frames = sampleRadioFrames(7);
    std::vector<TSampleMessage> link = frames;
    for (const TSampleMessage& s : linkStreams(frames)) {
        link.push_back(s);
    }
    std::vector<TSampleMessage> requests = sampleAppRequests(42);
    for (const TSampleMessage& r : sampleAppRequests(-1)) {
        TSampleMessage m = r;
        m.name += "_negative_sequence";
        requests.push_back(m);
    }

    const bool ok = writeAll(base + "/xolt_parser", link) && writeAll(base + "/radio_to_app", link) &&
                    writeAll(base + "/app_to_radio", requests) && writeAll(base + "/config", sampleConfigurations());
    if (!ok) {
        fprintf(stderr, "cannot write the seed corpus under %s\n", base.c_str());
        return 1;
    }
    printf("seed corpus: %zu link datagrams, %zu envelopes, %zu configurations under %s\n", link.size(),
           requests.size(), sampleConfigurations().size(), base.c_str());
    return 0;
}
