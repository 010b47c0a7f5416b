#ifndef LUMBRIX_SAMPLE_TRAFFIC_H
#define LUMBRIX_SAMPLE_TRAFFIC_H

#include <cstdint>
#include <string>
#include <vector>

#include "kit/TestMessages.h"
#include "msgHandle/XoltProtocol.h"

// Well-formed traffic of every kind the gateway handles: one radio-side frame
// per handled link msgid and sub-command, and one App request per handled App
// id, each with what the gateway does with it (the nest commands' from the
// gateway's own command table). The fuzz targets take it as their seed
// corpus, the soak test as the valid part of its mix; the benchmark builds
// its frames in place with the builder below and its envelopes with
// fillAppEnvelope (TestMessages.h). Stateless; every call returns new rows.

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
// DEV_APP, closed by the gateway's own link codec with msgid's CRC extra.
std::string radioSideFrame(uint8_t seq, uint8_t sourceid, uint8_t msgid, const std::vector<uint8_t>& payload);
// Closes a frame as the radio side sends it (sequence number seq, from
// sourceid to DEV_APP, msgid's CRC extra) in a record whose payload of
// length bytes is already filled; returns its length at
// xolt_wire_bytes(&record).
uint16_t finishRadioSideFrame(xolt_message_head_t& record, uint8_t seq, uint8_t sourceid, uint8_t msgid,
                              uint16_t length);

// Frames as the radio side sends them (sequence number seq).
std::vector<TSampleMessage> sampleRadioFrames(uint8_t seq = 0);

// Requests as the App sends them, all with message_sequence sequence.
std::vector<TSampleMessage> sampleAppRequests(int32_t sequence = 1);

// Configuration texts that load: the shipped example, one with every logger
// key and relative paths, inline and minimal ones.
std::vector<TSampleMessage> sampleConfigurations();

#endif
