#ifndef LUMBRIX_SAMPLE_TRAFFIC_H
#define LUMBRIX_SAMPLE_TRAFFIC_H

#include <cstdint>
#include <string>
#include <vector>

#include "msgHandle/XoltProtocol.h"
#include "quelby_protocol.pb.h"

// Well-formed traffic of every kind the gateway handles, built with the
// gateway's own link codec, link definitions and App protocol classes: one
// radio-side frame per handled link msgid and sub-command, and one App
// request per handled App id, each with what the gateway does with it. The
// fuzz targets take it as their seed corpus, the soak test as the valid part
// of its mix, and the benchmark builds its traffic with the same builders.
// Stateless; every call returns new rows.

// Answer id of a message whose answer depends on earlier requests (the
// calibration answer answers whichever request is pending) or is left to its
// handler (the nest reports).
constexpr uint32_t kStateDependentAnswer = 0xFFFFFFFFu;

struct TSampleMessage {
    std::string name;  // short, usable as a file name
    std::string bytes; // one datagram
    uint32_t id = 0;   // link msgid (frames) or App MessageType (requests)
    // What the gateway sends for it: for a request one frame to the radio
    // side with link msgid answerId and, when answerSub >= 0, that first
    // payload byte; for a frame one envelope to the App with message_id
    // answerId. Nothing at all when answered is false.
    bool answered = false;
    uint32_t answerId = 0;
    int answerSub = -1;
    // Pending-request queue (an App MessageType) that a request pushes or an
    // answer pops; 0 for none.
    uint32_t queueKey = 0;
    // An answer that pops its queue without looking: the gateway waits for
    // ever unless a request is pending (the rocker-mode get answer).
    bool popsWithoutLooking = false;
    // Requests: the name of the sample frame the radio side answers with
    // (its App message carries the request's sequence); empty for none.
    std::string answeredBy;
};

// A frame as the radio side sends it: sequence number seq, from sourceid to
// DEV_APP, closed with msgid's CRC extra.
std::string radioSideFrame(uint8_t seq, uint8_t sourceid, uint8_t msgid, const std::vector<uint8_t>& payload);
// The same in a record whose payload of length bytes is already filled;
// returns the frame's length at xolt_wire_bytes(&record).
uint16_t finishRadioSideFrame(xolt_message_head_t& record, uint8_t seq, uint8_t sourceid, uint8_t msgid,
                              uint16_t length);

// An envelope as the App sends it: token "App", source 1, the head type, id
// and sequence given, the body serialised into data.value (no body: data
// unset).
std::string appEnvelope(uint32_t messageId, int32_t sequence, const google::protobuf::Message* body = nullptr,
                        int32_t headType = quelby::protocol::HEAD_TYPE_REQUEST);
// The same into envelope, reusing its storage.
void fillAppEnvelope(quelby::protocol::QuelbyMessage& envelope, uint32_t messageId, int32_t sequence,
                     const google::protobuf::Message* body, int32_t headType = quelby::protocol::HEAD_TYPE_REQUEST);

// Frames as the radio side sends them (sequence number seq).
std::vector<TSampleMessage> sampleRadioFrames(uint8_t seq = 0);

// Requests as the App sends them, all with message_sequence sequence.
std::vector<TSampleMessage> sampleAppRequests(int32_t sequence = 1);

// Configuration texts that load: the shipped example, one with every logger
// key and relative paths, inline and minimal ones.
std::vector<TSampleMessage> sampleConfigurations();

#endif
