-- Wireshark dissector for the Lumbrix gateway's traffic.
--
-- Two protocols, on UDP ports set in the preferences:
--   xolt    the link frames between the gateway and the radio side: header
--           fields, header checksum and CRC (with the CRC-extra table) shown
--           as good or bad, the message's name and its payload fields;
--   quelby  the App envelopes (QuelbyMessage): header fields here, the
--           envelope and its body decoded by Wireshark's own protobuf
--           dissector with the App protocol's .proto (see the README for the
--           protobuf search paths).
--
-- Load it with  wireshark -X lua_script:tools/wireshark/lumbrix.lua  (or
-- tshark), or copy it into the personal Lua plugins folder.

local bit = bit32 or bit

local xolt = Proto("xolt", "Xolt link frame")
local quelby = Proto("quelby", "Quelby App envelope")

local script_dir = (debug.getinfo(1, "S").source:match("^@(.*[/\\])") or "./")

xolt.prefs.ports = Pref.range("UDP ports", "25100,25101",
  "The gateway's link service port and the radio side's port (where the transmit client sends)", 65535)
quelby.prefs.ports = Pref.range("UDP ports", "25200,25201",
  "The gateway's App service port and the App's port (where the app client sends)", 65535)
quelby.prefs.proto_file = Pref.string("App protocol file",
  script_dir .. "../../src/msgHandle/proto/quelby_protocol.proto",
  "quelby_protocol.proto, read for the names of the App's message ids")

-- ---------------------------------------------------------------------------
-- Link protocol constants

-- The CRC extras and the sub-command names, made from the gateway's own
-- definitions by the build (xolt-catalogue.lua in the build directory): the
-- file named as the script's argument (-X lua_script1:FILE), else the one
-- next to this script, else the one in the checkout's build/.
local catalogue_files = { (...), script_dir .. "xolt-catalogue.lua", script_dir .. "../../build/xolt-catalogue.lua" }
local catalogue
for i = 1, 3 do
  local file = catalogue_files[i] and io.open(catalogue_files[i])
  if file then
    file:close()
    catalogue = dofile(catalogue_files[i])
    break
  end
end
if not catalogue then error("xolt-catalogue.lua not found: make build writes it into build/") end
local CRC_EXTRA, RC_COMMANDS, NEST_COMMANDS, AT_COMMANDS = catalogue.crc_extra, catalogue.rc, catalogue.nest, catalogue.at
-- The gateway closes its set-gimbal-speed request with the msgid itself.
local SET_GIMBAL_SPEED_EXTRA = catalogue.set_gimbal_speed_extra

local XOLT_STX = 0xFD
local DEV_APP = 32

local COMPONENTS = { [14] = "DEV_RC", [32] = "DEV_APP", [35] = "DEV_NEST" }
local SHORT_COMPONENTS = { [14] = "RC", [32] = "GW", [35] = "NEST" }

-- Every message id the gateway knows, with its name; where the direction
-- names it apart, the names from the gateway and from the radio side.
local MESSAGES = {
  [24] = "Drone UTC time sync",
  [110] = "Command channel",
  [144] = "RC key event",
  [148] = "Virtual stick",
  [150] = "RC settings",
  [182] = "Nest command / report",
  [183] = "Nest command acknowledgement",
  [200] = "AT command",
  [201] = "AT command response",
  [219] = "Versions",
}
local DIRECTED_NAMES = {
  [110] = { "Command channel", "Command acknowledgement" },
  [182] = { "Nest command", "Nest report" },
  [219] = { "Version query", "Version answer" },
}

local RC_KEYS = {
  [4] = "photo", [5] = "record", [6] = "reserved", [7] = "left custom", [8] = "right custom",
  [9] = "zoom in", [10] = "zoom out", [11] = "photo/record",
}

-- ---------------------------------------------------------------------------
-- Payload layouts: field name, offset in the payload, type; a group gathers
-- the fields of a sub-record that starts at its own offset.

local function f(name, off, t, names) return { name = name, off = off, t = t, names = names } end
local function g(name, off, entries) return { group = name, off = off, entries = entries } end

local function charger() return {
  f("error", 0, "u16"), f("state", 2, "u8"), f("soc", 3, "u8"), f("voltage", 4, "u16"), f("current", 6, "i16"),
  f("temperature", 8, "i16"), f("chargeminutes", 10, "u16"), f("cyclecount", 12, "u16"), f("capacity", 14, "u16") } end
local function climate() return {
  f("error", 0, "u16"), f("temperature", 2, "i16"), f("humidity", 4, "u16"), f("heater", 6, "u8"), f("cooler", 7, "u8") } end
local function motor_driver() return {
  f("error", 0, "u16"), f("state", 2, "u8"), f("temperature", 3, "i8"), f("position", 4, "i16"), f("current", 6, "u16") } end
-- Fields, then count numbered ones of a type from an offset on.
local function numbered(entries, name, off, t, count, size)
  for i = 1, count do entries[#entries + 1] = f(name .. i, off + size * (i - 1), t) end
  return entries
end
-- The first fields of every RC settings answer, then the rest.
local function rc(...) return { f("type", 0, "u8", RC_COMMANDS), f("length", 1, "u8"), ... } end
-- The command byte of every nest command and report, then the rest.
local function nest(...) return { f("command", 0, "u8", NEST_COMMANDS), ... } end
local function nest_marked(...) return nest(f("marker", 1, "hex16"), ...) end
local function at(...) return { f("code", 0, "u8", AT_COMMANDS), ... } end

local LAYOUTS = {
  time_sync = { f("gps_time", 0, "u64") },
  command = { f("command", 0, "u16"), f("utctimeinterval", 2, "i64"), f("timezone", 10, "i32") },
  ack = { f("command", 0, "u16"), f("result", 2, "u8") },
  key = { f("key_id", 0, "u8", RC_KEYS), f("key_time", 1, "u8"), f("key_value", 2, "u8"), f("key_status", 3, "u8"),
    f("key_free", 4, "u32") },
  vstick = { f("lefthorizontal", 0, "i16"), f("righthorizontal", 2, "i16"), f("rightvertical", 4, "i16"),
    f("leftvertical", 6, "i16"), f("generalkey", 8, "u16"), f("gimbalpitch", 10, "i16"), f("combinedkey", 12, "u16") },
  rc_request = { f("cmd", 0, "u8", RC_COMMANDS), f("width", 1, "u8"), f("value", 2, "u8") },
  rc_status = rc(f("status", 2, "u8")),
  rc_speed = rc(f("speed", 2, "u8")),
  rc_mode = rc(f("mode", 2, "u8")),
  rc_calibration = rc(f("result", 2, "u8")),
  rc_sticks = rc(f("righthorizontal", 2, "i16"), f("rightvertical", 4, "i16"), f("lefthorizontal", 6, "i16"),
    f("leftvertical", 8, "i16"), f("wheel1", 12, "i16")),
  rc_state = rc(f("remainpower", 2, "u8"), f("rcsignal", 3, "u8"), f("dspsignal", 4, "u8"),
    f("calibrationstate", 5, "u8"), f("batterytemperature", 6, "u8"), f("chargingvoltage", 120, "u16")),
  rc_calibration_state17 = rc(f("rightstick", 2, "u32"), f("leftstick", 6, "u32"), f("rightthumbwheel", 10, "u32"),
    f("leftthumbwheel", 14, "u32"), f("midvalidflag", 18, "u8")),
  rc_calibration_state13 = rc(f("rightstick", 2, "u32"), f("leftstick", 6, "u32"), f("leftthumbwheel", 10, "u32"),
    f("midvalidflag", 14, "u8")),
  rc_other = rc(),
  nest_rod = nest(f("nesttype", 1, "u8"), f("nestaction", 2, "u8")),
  nest_marked = nest_marked(),
  nest_action = nest_marked(f("nestaction", 3, "u8")),
  nest_single_calibration = nest_marked(f("nestcomponents", 3, "u8"), f("direction", 4, "u8")),
  nest_system_config = nest_marked(f("airopenlimit", 3, "u8"), f("aircloselimit", 4, "u8"), f("unixtime", 5, "u32"),
    f("autodischarge", 9, "u8"), f("autocharge", 10, "u8")),
  nest_ack = nest(f("result", 1, "u8")),
  -- nest reports: the record starts after the report type
  report_status = nest(
    g("power", 1, { f("error", 0, "u16"), f("state", 2, "u8") }),
    g("uav", 4, { f("error", 0, "u16"), f("inplace", 2, "u8"), f("poweron", 3, "u8"), f("charging", 4, "u8") }),
    g("chg0", 9, charger()), g("chg1", 25, charger()),
    f("batstbyerror", 41, "u16"), f("motorerror", 43, "u16"),
    g("temp0", 45, climate()), g("temp1", 53, climate()),
    g("atmos", 61, { f("error", 0, "u16"), f("windspeed", 2, "u16"), f("winddirection", 4, "u16"),
      f("rainfall", 6, "u16"), f("pressure", 8, "u32"), f("temperature", 12, "i16"), f("humidity", 14, "u16") }),
    g("mpu", 77, { f("error", 0, "u16"), f("tilt", 2, "u8") }),
    g("water", 80, { f("error", 0, "u16"), f("leak", 2, "u8") }),
    g("tec", 83, { f("error", 0, "u16"), f("power", 2, "u8"), f("mode", 3, "u8"), f("targettemperature", 4, "i16"),
      f("insidetemperature", 6, "i16"), f("outsidetemperature", 8, "i16"), f("fanlevel", 10, "u8") }),
    f("led", 94, "u8"), f("sysmode", 95, "u8"), f("sysstep", 96, "u8"),
    g("fan", 97, numbered({ f("error", 0, "u16"), f("count", 2, "u8"), f("runningmask", 3, "u8"), f("duty", 4, "u8") },
      "rpm", 5, "u16", 8, 2))),
  report_battery_dynamic = nest(g("battery", 1, numbered({ f("error", 0, "u16"), f("voltage", 2, "u16"),
    f("current", 4, "i16"), f("temperature", 6, "i16"), f("soc", 8, "u8"), f("state", 9, "u8"),
    f("remaincapacity", 10, "u16") }, "cellvoltage", 12, "u16", 6, 2))),
  report_battery_static = nest(g("battery", 1, {
    f("designcapacity", 0, "u16"), f("fullcapacity", 2, "u16"), f("designvoltage", 4, "u16"), f("cyclecount", 6, "u16"),
    f("cellcount", 8, "u8"), f("health", 9, "u8"), f("serialnumber", 10, "str16") })),
  report_backup_battery = nest(g("backup", 1, {
    f("error", 0, "u16"), f("voltage", 2, "u16"), f("current", 4, "i16"), f("temperature", 6, "i16"), f("soc", 8, "u8"),
    f("state", 9, "u8") })),
  report_motor_drivers = nest(g("hatch", 1, motor_driver()), g("xrod", 9, motor_driver()),
    g("yrod", 17, motor_driver()), g("zrod", 25, motor_driver())),
  report_zrod_ready = nest(f("ready", 1, "u8")),
  report_self_check = nest(f("checkstate", 1, "u8"), f("checkresult", 2, "u8"), f("faultmask", 3, "u32")),
  report_auto_task = nest(f("action", 1, "u8"), f("errcode", 2, "u16")),
  report_heartbeat = nest(f("uptime", 1, "u32"), f("linkquality", 5, "u8"), f("rssi", 6, "i8"), f("hbstate", 7, "u8")),
  report_other = nest(),
  at_command = at(),
  at_choose = at(f("choice", 1, "u8")),
  at_progress = at(f("progress", 1, "i8")),
  at_answer = at(f("data0", 1, "u8")),
  versions = { f("devicetype", 0, "u8"), f("translen", 1, "u8"), f("rclen", 2, "u8"), f("mculen", 3, "u8"),
    f("motorlen", 4, "u8") },
}

-- The layout of a payload by msgid and direction: a name, or a table by the
-- payload's first byte (its sub-command) with the layout of any other in
-- "other", or a function of the payload.
local RC_ANSWERS = { [1] = "rc_status", [18] = "rc_status", [2] = "rc_speed", [19] = "rc_mode",
  [13] = "rc_calibration", [14] = "rc_sticks", [15] = "rc_state", other = "rc_other",
  [25] = function(payload)
    local length = payload:len() >= 2 and payload(1, 1):uint()
    return ({ [17] = "rc_calibration_state17", [13] = "rc_calibration_state13" })[length] or "rc_other"
  end }
local NEST_COMMANDS_OUT = { [1] = "nest_rod", [2] = "nest_rod", [3] = "nest_rod", [8] = "nest_rod",
  [10] = "nest_single_calibration", [16] = "nest_system_config",
  other = function(payload) return payload:len() == 4 and "nest_action" or "nest_marked" end }
local NEST_REPORTS = { [32] = "report_status", [33] = "report_battery_dynamic", [34] = "report_battery_static",
  [35] = "report_backup_battery", [37] = "report_motor_drivers", [39] = "report_zrod_ready",
  [40] = "report_self_check", [49] = "report_auto_task", [64] = "report_heartbeat", other = "report_other" }
local function both(layout) return { layout, layout } end
local PAYLOADS = { -- [msgid] = { from the gateway, from the radio side }
  [24] = both("time_sync"), [110] = { "command", "ack" }, [144] = both("key"), [148] = both("vstick"),
  [150] = { "rc_request", RC_ANSWERS }, [182] = { NEST_COMMANDS_OUT, NEST_REPORTS }, [183] = both("nest_ack"),
  [200] = both({ [7] = "at_choose", other = "at_command" }), [201] = both({ [6] = "at_progress", other = "at_answer" }),
  [219] = { nil, "versions" },
}

local function layout_of(msgid, from_gateway, payload)
  local layout = (PAYLOADS[msgid] or {})[from_gateway and 1 or 2]
  if type(layout) == "table" then
    layout = payload:len() > 0 and layout[payload(0, 1):uint()] or layout.other
  end
  if type(layout) == "function" then layout = layout(payload) end
  return layout
end

-- Name of the sub-command a payload carries, for the tree and the Info column.
local SUBCOMMANDS = { [150] = RC_COMMANDS, [182] = NEST_COMMANDS, [183] = NEST_COMMANDS, [200] = AT_COMMANDS,
  [201] = AT_COMMANDS }
local function subcommand(msgid, payload)
  if payload:len() == 0 then return nil end
  local b0 = payload(0, 1):uint()
  if SUBCOMMANDS[msgid] then return SUBCOMMANDS[msgid][b0] end
  if msgid == 110 and payload:len() >= 2 and payload(0, 2):le_uint() == 78 then return "RC system time" end
  if msgid == 144 then return RC_KEYS[b0] and ("key " .. RC_KEYS[b0]) end
  return nil
end

-- ---------------------------------------------------------------------------
-- Fields

local FIELD_TYPES = { -- type, display base, size
  u8 = { ftypes.UINT8, base.DEC, 1 }, i8 = { ftypes.INT8, base.DEC, 1 }, u16 = { ftypes.UINT16, base.DEC, 2 },
  i16 = { ftypes.INT16, base.DEC, 2 }, u32 = { ftypes.UINT32, base.DEC, 4 }, i32 = { ftypes.INT32, base.DEC, 4 },
  u64 = { ftypes.UINT64, base.DEC, 8 }, i64 = { ftypes.INT64, base.DEC, 8 }, hex16 = { ftypes.UINT16, base.HEX, 2 },
  str16 = { ftypes.STRING, base.NONE, 16 },
}

local hf = {
  magic = ProtoField.uint8("xolt.magic", "Magic", base.HEX),
  len = ProtoField.uint16("xolt.len", "Payload length", base.DEC),
  seq = ProtoField.uint8("xolt.seq", "Sequence", base.DEC),
  destid = ProtoField.uint8("xolt.destid", "Destination", base.DEC, COMPONENTS),
  sourceid = ProtoField.uint8("xolt.sourceid", "Source", base.DEC, COMPONENTS),
  msgid = ProtoField.uint8("xolt.msgid", "Message id", base.DEC, MESSAGES),
  checksum = ProtoField.uint8("xolt.checksum", "Header checksum", base.HEX),
  checksum_status = ProtoField.uint8("xolt.checksum.status", "Header checksum status", base.DEC,
    { [0] = "Bad", [1] = "Good" }),
  payload = ProtoField.bytes("xolt.payload", "Payload"),
  crc = ProtoField.uint16("xolt.crc", "CRC", base.HEX),
  crc_status = ProtoField.uint8("xolt.crc.status", "CRC status", base.DEC,
    { [0] = "Bad", [1] = "Good", [2] = "Good only with CRC extra 150 (the set-gimbal-speed request)" }),
  crc_extra = ProtoField.uint8("xolt.crc.extra", "CRC extra", base.DEC),
  version = ProtoField.string("xolt.versions.version", "Version"),
  junk = ProtoField.bytes("xolt.junk", "Bytes before a start byte"),
}

local ef = {
  bad_checksum = ProtoExpert.new("xolt.checksum.bad", "Bad header checksum", expert.group.CHECKSUM,
    expert.severity.ERROR),
  bad_crc = ProtoExpert.new("xolt.crc.bad", "Bad CRC", expert.group.CHECKSUM, expert.severity.ERROR),
  odd_crc = ProtoExpert.new("xolt.crc.extra150", "CRC closed with extra 150 instead of the table's 36",
    expert.group.CHECKSUM, expert.severity.NOTE),
  truncated = ProtoExpert.new("xolt.truncated", "Frame cut short", expert.group.MALFORMED, expert.severity.ERROR),
  too_long = ProtoExpert.new("xolt.len.too_long", "Payload length over 512", expert.group.MALFORMED,
    expert.severity.ERROR),
}

-- One field per layout path, e.g. xolt.report_status.chg0.soc.
local all_fields = {}
for _, field in pairs(hf) do all_fields[#all_fields + 1] = field end
local function make_fields(prefix, entries)
  for _, e in ipairs(entries) do
    if e.group then
      make_fields(prefix .. "." .. e.group, e.entries)
    else
      local ft = FIELD_TYPES[e.t]
      e.field = ProtoField.new(e.name, prefix .. "." .. e.name, ft[1], e.names, ft[2])
      all_fields[#all_fields + 1] = e.field
    end
  end
end
for name, entries in pairs(LAYOUTS) do make_fields("xolt." .. name, entries) end
xolt.fields = all_fields
xolt.experts = { ef.bad_checksum, ef.bad_crc, ef.odd_crc, ef.truncated, ef.too_long }

-- ---------------------------------------------------------------------------
-- Frames

local function crc_accumulate(b, crc)
  local t = bit.bxor(b, bit.band(crc, 0xFF))
  t = bit.band(bit.bxor(t, bit.lshift(t, 4)), 0xFF)
  return bit.band(bit.bxor(bit.rshift(crc, 8), bit.lshift(t, 8), bit.lshift(t, 3), bit.rshift(t, 4)), 0xFFFF)
end

-- CRC over the frame's bytes from len_lo to the end of the payload, closed
-- with extra.
local function frame_crc(tvb, offset, covered, extra)
  local crc = 0xFFFF
  for i = offset + 1, offset + covered do
    crc = crc_accumulate(tvb(i, 1):uint(), crc)
  end
  return crc_accumulate(extra, crc)
end

local function add_entries(tree, payload, entries)
  local len = payload:len()
  for _, e in ipairs(entries) do
    if e.group then
      if e.off < len then
        add_entries(tree:add(payload(e.off, len - e.off), e.group), payload(e.off):tvb(), e.entries)
      end
    elseif e.off + FIELD_TYPES[e.t][3] <= len then
      local range = payload(e.off, FIELD_TYPES[e.t][3])
      if e.t == "str16" then
        tree:add(e.field, range, range:stringz())
      else
        tree:add_le(e.field, range)
      end
    end
  end
end

local function add_versions(tree, payload)
  local len = payload:len()
  if len < 5 then return end
  local names = { "transmitter", "rc", "mcu", "motor" }
  local offset = 5
  for i = 1, 4 do
    local n = payload(i, 1):uint()
    if n > 0 and offset < len then
      local range = payload(offset, math.min(n, len - offset))
      tree:add(hf.version, range):set_text(names[i] .. " version: " .. range:string())
    end
    offset = offset + n
  end
end

-- A tree item for a frame that cannot be read whole.
local function broken(tree, range, text, expert_field, info)
  tree:add(xolt, range, "Xolt link frame (" .. text .. ")"):add_proto_expert_info(expert_field)
  return info
end

-- Dissects one frame at offset; returns its length on the wire (0 when the
-- rest of the datagram cannot be a frame) and an Info column text.
local function dissect_frame(tvb, tree, offset)
  local left = tvb:len() - offset
  if left < 10 then return left, broken(tree, tvb(offset, left), "cut short", ef.truncated, "cut short") end
  local n = tvb(offset + 1, 2):le_uint()
  if n > 512 then
    return left, broken(tree, tvb(offset, 3), "payload length " .. n, ef.too_long, "bad length")
  end
  local frame_len = n + 10
  if frame_len > left then return left, broken(tree, tvb(offset, left), "cut short", ef.truncated, "cut short") end
  local seq = tvb(offset + 3, 1):uint()
  local destid = tvb(offset + 4, 1):uint()
  local sourceid = tvb(offset + 5, 1):uint()
  local msgid = tvb(offset + 6, 1):uint()

  local from_gateway = sourceid == DEV_APP
  local payload = tvb(offset + 8, n):tvb()
  local name = DIRECTED_NAMES[msgid] and DIRECTED_NAMES[msgid][from_gateway and 1 or 2] or MESSAGES[msgid]
    or "unknown message"
  local sub = subcommand(msgid, payload)

  local title = string.format("Xolt link frame, %d %s%s, seq %d", msgid, name, sub and (" " .. sub) or "", seq)
  local frame = tree:add(xolt, tvb(offset, frame_len), title)
  frame:add(hf.magic, tvb(offset, 1))
  frame:add_le(hf.len, tvb(offset + 1, 2))
  frame:add(hf.seq, tvb(offset + 3, 1))
  frame:add(hf.destid, tvb(offset + 4, 1))
  frame:add(hf.sourceid, tvb(offset + 5, 1))
  frame:add(hf.msgid, tvb(offset + 6, 1))

  local sum = 0
  for i = offset, offset + 6 do sum = sum + tvb(i, 1):uint() end
  sum = sum % 256
  local checksum_item = frame:add(hf.checksum, tvb(offset + 7, 1))
  local checksum_good = tvb(offset + 7, 1):uint() == sum
  if checksum_good then
    checksum_item:append_text(" [correct]")
  else
    checksum_item:append_text(string.format(" [incorrect, should be 0x%02x]", sum))
    checksum_item:add_proto_expert_info(ef.bad_checksum)
  end
  frame:add(hf.checksum_status, tvb(offset + 7, 1), checksum_good and 1 or 0):set_generated()

  if n > 0 then
    local payload_item = frame:add(hf.payload, tvb(offset + 8, n))
    payload_item:set_text(string.format("Payload (%d bytes)%s", n, sub and (": " .. sub) or ""))
    local layout = layout_of(msgid, from_gateway, payload)
    if layout then add_entries(payload_item, payload, LAYOUTS[layout]) end
    if layout == "versions" then add_versions(payload_item, payload) end
  end

  local crc = tvb(offset + 8 + n, 2):le_uint()
  local extra = CRC_EXTRA[msgid]
  local expected = frame_crc(tvb, offset, 7 + n, extra)
  local crc_item = frame:add_le(hf.crc, tvb(offset + 8 + n, 2))
  local status = 1
  if crc == expected then
    crc_item:append_text(" [correct]")
  elseif msgid == 150 and from_gateway and crc == frame_crc(tvb, offset, 7 + n, SET_GIMBAL_SPEED_EXTRA) then
    status = 2
    crc_item:append_text(string.format(" [closed with CRC extra %d; the table's %d gives 0x%04x]",
      SET_GIMBAL_SPEED_EXTRA, extra, expected))
    crc_item:add_proto_expert_info(ef.odd_crc)
  else
    status = 0
    crc_item:append_text(string.format(" [incorrect, should be 0x%04x]", expected))
    crc_item:add_proto_expert_info(ef.bad_crc)
  end
  frame:add(hf.crc_status, tvb(offset + 8 + n, 2), status):set_generated()
  frame:add(hf.crc_extra, tvb(offset + 6, 1), extra):set_generated()

  local info = string.format("%s→%s %d %s%s", SHORT_COMPONENTS[sourceid] or tostring(sourceid),
    SHORT_COMPONENTS[destid] or tostring(destid), msgid, name, sub and (" " .. sub) or "")
  if not checksum_good then info = info .. " [BAD HEADER CHECKSUM]" end
  if status == 0 then info = info .. " [BAD CRC]" end
  return frame_len, info
end

function xolt.dissector(tvb, pinfo, tree)
  pinfo.cols.protocol = "Xolt"
  local infos = {}
  local offset = 0
  local len = tvb:len()
  while offset < len do
    local start = offset
    while offset < len and tvb(offset, 1):uint() ~= XOLT_STX do offset = offset + 1 end
    if offset > start then tree:add(hf.junk, tvb(start, offset - start)) end
    if offset >= len then break end
    local used, info = dissect_frame(tvb, tree, offset)
    infos[#infos + 1] = info
    offset = offset + used
  end
  pinfo.cols.info = table.concat(infos, " | ")
  return len
end

-- ---------------------------------------------------------------------------
-- App envelopes

local qf = {
  token = ProtoField.string("quelby.token", "Token"),
  head_type = ProtoField.int32("quelby.head_type", "Head type", base.DEC),
  message_id = ProtoField.uint32("quelby.message_id", "Message id", base.DEC),
  sequence = ProtoField.int32("quelby.sequence", "Message sequence", base.DEC),
  body_type = ProtoField.string("quelby.body_type", "Body type"),
}
quelby.fields = { qf.token, qf.head_type, qf.message_id, qf.sequence, qf.body_type }

local HEAD_TYPES = { [0] = "unknown", "request", "response", "fixed-frequency report", "event report",
  "value-changed report" }

local REQUEST_BODIES = {
  [0x1] = "DroneParamMessageRequest", [0x2] = "DroneParamMessageRequest",
  [0x90007] = "ParameterInt32", [0x90008] = "ParameterInt32", [0x9000A] = "SystemTimeInfo",
  [0x5108] = "DroneUTCTimeSync",
  [0xC0001] = "NestCommand", [0xC0002] = "NestCommand", [0xC0003] = "NestCommand", [0xC0004] = "NestCommand",
  [0xC0005] = "NestCommand", [0xC0006] = "NestResetCommand", [0xC0007] = "NestCalibrateOperation",
  [0xC0008] = "NestSingleCalibration", [0xC0009] = "NestSystemConfig", [0xC000A] = "NestCommand",
  [0xC000B] = "NestCommand", [0xC000C] = "NestCommand", [0xC000D] = "NestCommand", [0xC000E] = "NestCommand",
  [0xC0011] = "NestWaitTime", [0xC1009] = "NestVirtualPoleStateNtfy",
}
local REPORT_BODIES = {
  [0x90000] = "RCHardwareStateNtfy", [0x90001] = "RCHardwareButtonInfoNtfy", [0x90002] = "RCStateNtfy",
  [0x90006] = "RockerCalibrationStateNtfy", [0x70020] = "ParameterInt32",
  [0xC1001] = "NestStatusInfoNtfy", [0xC1002] = "NestBatteryDynamicStatusNtfy",
  [0xC1003] = "NestBackupBatteryStatusNtfy", [0xC1004] = "NestSystemSelfCheckNtfy",
  [0xC1005] = "NestAutoCommandFinishNtfy", [0xC1006] = "TransmitHeartbeatNtfy", [0xC1007] = "ZrodReadyStatusNtfy",
  [0xC1008] = "NestBatteryStaticStatusNtfy", [0xC100A] = "NestMotorDriverStatusNtfy",
}
-- What an answer's RspMessage.data holds; the device-info answer comes under
-- the button-event id.
local ANSWER_DATA = {
  [0x1] = "DroneParamMessageResponse", [0x2] = "DroneParamMessageResponse", [0x90001] = "DroneVersionInfo",
}

-- The MessageType names, read once from the App protocol's .proto.
local message_names = nil
local function message_name(id)
  if message_names == nil then
    message_names = {}
    local file = io.open(quelby.prefs.proto_file, "r")
    if file then
      local in_enum = false
      for line in file:lines() do
        if line:match("^%s*enum%s+MessageType%s*{") then
          in_enum = true
        elseif in_enum and line:match("^%s*}") then
          in_enum = false
        elseif in_enum then
          local name, value = line:match("^%s*([%w_]+)%s*=%s*([%xx]+)%s*;")
          if name and tonumber(value) then message_names[tonumber(value)] = name end
        end
      end
      file:close()
    end
  end
  return message_names[id]
end

-- Protobuf wire format, just enough to find the header and the bodies.
local function read_varint(tvb, offset, limit)
  local value, low32, scale = 0, 0, 1
  while offset < limit do
    local b = tvb(offset, 1):uint()
    offset = offset + 1
    local bits = b % 128
    if scale < 2 ^ 53 then value = value + bits * scale end
    if scale < 2 ^ 32 then low32 = (low32 + bits * scale) % 2 ^ 32 end
    scale = scale * 128
    if b < 128 then return value, low32, offset end
  end
  return nil
end

-- The first field of each number of a message in [offset, limit) (a table
-- by number), and every field in order: {number, wire type, value offset,
-- value length, varint value, its low 32 bits}. Empty when malformed.
local function pb_fields(tvb, offset, limit)
  local first, fields = {}, {}
  while offset < limit do
    local key, _, next_offset = read_varint(tvb, offset, limit)
    if key == nil then return {}, {} end
    local field = { number = math.floor(key / 8), wire = key % 8 }
    if field.wire == 0 then
      field.value, field.low32, next_offset = read_varint(tvb, next_offset, limit)
      if field.value == nil then return {}, {} end
      field.offset, field.len = offset, next_offset - offset
    elseif field.wire == 2 then
      local len
      len, _, next_offset = read_varint(tvb, next_offset, limit)
      if len == nil or next_offset + len > limit then return {}, {} end
      field.offset, field.len = next_offset, len
      next_offset = next_offset + len
    elseif field.wire == 1 or field.wire == 5 then
      field.offset, field.len = next_offset, field.wire == 1 and 8 or 4
      next_offset = next_offset + field.len
      if next_offset > limit then return {}, {} end
    else
      return {}, {}
    end
    fields[#fields + 1] = field
    first[field.number] = first[field.number] or field
    offset = next_offset
  end
  return first, fields
end

-- The fields of a length-delimited field.
local function fields_of(tvb, field)
  return pb_fields(tvb, field.offset, field.offset + field.len)
end

-- The length-delimited field at a path of field numbers, each within the
-- one before; nil when one is missing or not length-delimited.
local function nested(tvb, field, ...)
  for _, number in ipairs({ ... }) do
    if field == nil or field.wire ~= 2 then return nil end
    field = fields_of(tvb, field)[number]
  end
  return field and field.wire == 2 and field or nil
end

local function signed32(low32)
  return low32 >= 2 ^ 31 and low32 - 2 ^ 32 or low32
end

local protobuf = Dissector.get("protobuf")

-- Hands a length-delimited field's bytes to the protobuf dissector as type.
local function decode_as(tvb, pinfo, tree, field, type_name, label)
  local item = tree:add(qf.body_type, tvb(field.offset, field.len), type_name)
  item:set_text(label .. ": " .. type_name)
  if protobuf and field.len > 0 then
    pinfo.private["pb_msg_type"] = "message,quelby.protocol." .. type_name
    protobuf:call(tvb(field.offset, field.len):tvb(), pinfo, item)
  end
end

-- The ParameterInt32 of every params_list entry of a parameter message, at
-- a path of field numbers in the entry (empty ones too when with_empty).
local function decode_params(tvb, pinfo, tree, body, with_empty, ...)
  for _, param in ipairs(select(2, fields_of(tvb, body))) do
    local value = param.number == 1 and nested(tvb, param, ...)
    if value and (with_empty or value.len > 0) then
      decode_as(tvb, pinfo, tree, value, "ParameterInt32", "Parameter value")
    end
  end
end

-- Dissects one envelope; returns the Info column text.
local function dissect_envelope(tvb, pinfo, root)
  local envelope = pb_fields(tvb, 0, tvb:len())
  if envelope[1] == nil or envelope[1].wire ~= 2 then
    root:append_text(" (no header)")
    return "App datagram without an envelope header"
  end

  local head = fields_of(tvb, envelope[1])
  local token, head_type, message_id, sequence = "", 0, 0, 0
  if head[1] and head[1].wire == 2 then
    token = tvb(head[1].offset, head[1].len):string()
    root:add(qf.token, tvb(head[1].offset, head[1].len), token)
  end
  if head[2] and head[2].wire == 0 then
    head_type = signed32(head[2].low32)
    root:add(qf.head_type, tvb(head[2].offset, head[2].len), head_type)
      :append_text(" (" .. (HEAD_TYPES[head_type] or "?") .. ")")
  end
  if head[5] and head[5].wire == 0 then
    message_id = head[5].low32
    root:add(qf.message_id, tvb(head[5].offset, head[5].len), message_id)
      :append_text(" (" .. (message_name(message_id) or "unknown") .. ")")
  end
  if head[6] and head[6].wire == 0 then
    sequence = signed32(head[6].low32)
    root:add(qf.sequence, tvb(head[6].offset, head[6].len), sequence)
  end
  local name = message_name(message_id) or string.format("0x%x", message_id)
  local info = string.format("%s %s seq %d (%s)", name, HEAD_TYPES[head_type] or tostring(head_type),
    sequence, token)
  root:append_text(string.format(", %s, %s, seq %d", name, HEAD_TYPES[head_type] or "?", sequence))

  -- The whole envelope as the protobuf dissector sees it.
  if protobuf then
    pinfo.private["pb_msg_type"] = "message,quelby.protocol.QuelbyMessage"
    protobuf:call(tvb, pinfo, root)
  end

  -- The body: data (a google.protobuf.Any) carries it in its value.
  local value = nested(tvb, envelope[2], 2)
  if value == nil then return info end
  if head_type == 1 then
    local body = REQUEST_BODIES[message_id]
    if body == nil then return info end
    decode_as(tvb, pinfo, root, value, body, "Request body")
    if body == "DroneParamMessageRequest" then decode_params(tvb, pinfo, root, value, true, 3, 2) end
  elseif head_type == 2 then
    decode_as(tvb, pinfo, root, value, "RspMessage", "Answer")
    local rsp = fields_of(tvb, value)
    local inner, data, status = ANSWER_DATA[message_id], rsp[1], rsp[2]
    if status and status.wire == 0 then
      info = info .. (status.low32 == 1 and " SUCCESS" or (status.low32 == 2 and " ERROR" or ""))
    end
    if inner and data and data.wire == 2 and data.len > 0 then
      decode_as(tvb, pinfo, root, data, inner, "Answer data")
      if inner == "DroneParamMessageResponse" then decode_params(tvb, pinfo, root, data, false, 3) end
    end
  elseif REPORT_BODIES[message_id] then
    decode_as(tvb, pinfo, root, value, REPORT_BODIES[message_id], "Report")
  end
  return info
end

function quelby.dissector(tvb, pinfo, tree)
  local root = tree:add(quelby, tvb(), "Quelby App envelope")
  local info = dissect_envelope(tvb, pinfo, root)
  -- After the protobuf dissector, which writes its own.
  pinfo.cols.protocol = "Quelby"
  pinfo.cols.info = info
  return tvb:len()
end

-- ---------------------------------------------------------------------------
-- Ports

local udp_port = DissectorTable.get("udp.port")
local registered = {}

local function register(proto)
  if registered[proto] then udp_port:remove(registered[proto], proto) end
  registered[proto] = nil
  if proto.prefs.ports and proto.prefs.ports ~= "" then
    udp_port:add(proto.prefs.ports, proto)
    registered[proto] = proto.prefs.ports
  end
end

local function register_all()
  register(xolt)
  register(quelby)
end

function xolt.prefs_changed() register_all() end
function quelby.prefs_changed()
  message_names = nil
  register_all()
end

register_all()
