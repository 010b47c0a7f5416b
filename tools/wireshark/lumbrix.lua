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

local XOLT_STX = 0xFD
local DEV_APP = 32

-- CRC extra of every msgid, the byte that closes the CRC of its frames.
local CRC_EXTRA = {
  [0] = 34, 187, 124, 18, 233, 246, 0, 0, 0, 0, 0, 0, 0, 0, 0, 142,
  159, 220, 22, 172, 15, 143, 5, 15, 128, 241, 148, 46, 196, 142, 42, 107,
  163, 193, 11, 97, 29, 115, 80, 0, 133, 126, 38, 15, 5, 114, 0, 0,
  177, 12, 194, 122, 11, 159, 0, 238, 247, 7, 57, 9, 147, 138, 0, 0,
  0, 191, 31, 0, 0, 52, 62, 128, 137, 196, 190, 234, 182, 64, 141, 112,
  220, 25, 11, 158, 110, 33, 190, 214, 151, 86, 124, 234, 243, 170, 104, 106,
  51, 142, 54, 164, 65, 143, 249, 244, 145, 232, 171, 196, 153, 75, 183, 178,
  39, 41, 34, 10, 125, 23, 79, 236, 232, 126, 46, 61, 58, 135, 177, 26,
  8, 138, 88, 0, 0, 0, 0, 0, 0, 0, 0, 0, 180, 0, 0, 0,
  224, 0, 0, 0, 237, 84, 36, 0, 0, 223, 252, 200, 0, 0, 33, 195,
  57, 2, 115, 0, 0, 0, 0, 0, 194, 146, 20, 204, 146, 72, 32, 28,
  178, 100, 0, 0, 0, 102, 59, 123, 0, 0, 0, 0, 0, 46, 89, 195,
  106, 52, 43, 119, 128, 0, 0, 0, 131, 47, 0, 0, 0, 0, 0, 0,
  0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0,
  0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0,
  0, 0, 0, 0, 0, 0, 184, 47, 0, 0, 0, 0, 0, 0, 0, 0,
}
-- The gateway closes its set-gimbal-speed request with the msgid itself.
local SET_GIMBAL_SPEED_EXTRA = 150

local COMPONENTS = { [14] = "DEV_RC", [32] = "DEV_APP", [35] = "DEV_NEST" }
local SHORT_COMPONENTS = { [14] = "RC", [32] = "GW", [35] = "NEST" }

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

local RC_COMMANDS = {
  [1] = "RC_CMD_SET_GIMBAL_SPEED", [2] = "RC_CMD_GET_GIMBAL_SPEED", [3] = "REMOTE_LANGUAGE_SET",
  [4] = "REMOTE_LANGUAGE_GET", [9] = "COACH_MACHINE_SET", [10] = "COACH_MACHINE_GET",
  [11] = "GIMBAL_PITCH_ADJUST", [12] = "GIMBAL_ANG_GET", [13] = "RC_CMD_CALIBRATION",
  [14] = "RC_CMD_RAW_DATA", [15] = "RC_CMD_GET_STATUS", [16] = "REMOTE_SENSING_VERSION_QUERY",
  [17] = "UNIT_DISPLAY_SET", [18] = "RC_CMD_SET_MODE", [19] = "RC_CMD_GET_MODE", [20] = "UNIT_DISPLAY_GET",
  [22] = "PHONE_COMPASS_ANGLE", [24] = "GIMBAL_YAW_ADJUST", [25] = "RC_CMD_RC_CALIBRATION_STATUS_INFO",
  [30] = "RC_CMD_BATTERY_INFO", [31] = "RC_CMD_RF_INFO", [32] = "RC_CMD_SMBUS_INFO",
}

local NEST_COMMANDS = {
  [1] = "NEST_CMD_HATCH_CONTROL", [2] = "NEST_CMD_LOCATION_ROD", [3] = "NEST_CMD_CHARGE_ROD",
  [4] = "NEST_CMD_MOTOR_DRV_POWER", [5] = "NEST_CMD_MOTOR_DRV_RESET", [6] = "NEST_CMD_MOTOR_CONFIG",
  [7] = "NEST_CMD_MOTOR_LOCATION_ZERO", [8] = "NEST_CMD_PADDIES_ROD", [9] = "NEST_CODE_CALIBRATION_OPERATION",
  [10] = "NEST_CODE_SINGLE_CALIBRATION", [16] = "NEST_CMD_SYSTEM_CONFIG", [17] = "NEST_CMD_SYSTEM_RESET",
  [18] = "NEST_CMD_AIRPLANE_CHARGE", [19] = "NEST_CMD_AIRPLANE_POWER", [20] = "NEST_CMD_AIR_CONDITIONER_POWER",
  [21] = "NEST_CMD_SOTF_STOP", [22] = "NEST_CMD_UPS_POWER", [24] = "NEST_CODE_RETURN_WAIT_TIME",
  [32] = "NEST_CMD_SYSTEM_STATUS", [33] = "NEST_CMD_BAT_DYNAMIC_INFO", [34] = "NEST_CMD_BAT_STATIC_INFO",
  [35] = "NEST_CMD_BAT_ALTERNATE_INFO", [36] = "NEST_CMD_MOTOR_DRV_INFO", [37] = "NEST_CMD_DRV_INFO1",
  [38] = "NEST_CMD_UPS_INFO", [39] = "NEST_CODE_ZROD_READY", [40] = "NEST_CODE_SELF_CHECK", [48] = "NEST_CMD_AUTO_TASK",
  [49] = "NEST_CMD_AUTO_TASK_SUCCESS", [64] = "NEST_CODE_TRANSMIT_HEARTBEAT",
}

local AT_COMMANDS = {
  [1] = "REQUEST_PAIR", [2] = "SET_FREQ_BAND", [3] = "SET_PHOTO_MODE", [4] = "SET_FCC_MODE",
  [5] = "SET_ELOG_SWITCH", [6] = "PAIR_PROGRESS_REPORT", [7] = "AT_COMAND_QUICK_MATCH_CHOOSE_CONNECT",
  [8] = "AT_COMAND_QUICK_MATCH_CLEAR_BLACKLIST",
}

local RC_KEYS = {
  [4] = "photo", [5] = "record", [6] = "reserved", [7] = "left custom", [8] = "right custom",
  [9] = "zoom in", [10] = "zoom out", [11] = "photo/record",
}

-- ---------------------------------------------------------------------------
-- Payload layouts: field name, offset in the payload, type; a group gathers
-- the fields of a sub-record that starts at its own offset.

local U8, I8, U16, I16, U32, I32, U64, I64, HEX16, STR16 =
  "u8", "i8", "u16", "i16", "u32", "i32", "u64", "i64", "hex16", "str16"

local function f(name, off, t, names) return { name = name, off = off, t = t, names = names } end
local function g(name, off, entries) return { group = name, off = off, entries = entries } end

local function charger() return {
  f("error", 0, U16), f("state", 2, U8), f("soc", 3, U8), f("voltage", 4, U16), f("current", 6, I16),
  f("temperature", 8, I16), f("chargeminutes", 10, U16), f("cyclecount", 12, U16), f("capacity", 14, U16) } end
local function climate() return {
  f("error", 0, U16), f("temperature", 2, I16), f("humidity", 4, U16), f("heater", 6, U8), f("cooler", 7, U8) } end
local function motor_driver() return {
  f("error", 0, U16), f("state", 2, U8), f("temperature", 3, I8), f("position", 4, I16), f("current", 6, U16) } end

local function fan()
  local entries = { f("error", 0, U16), f("count", 2, U8), f("runningmask", 3, U8), f("duty", 4, U8) }
  for i = 1, 8 do entries[#entries + 1] = f("rpm" .. i, 3 + 2 * i, U16) end
  return entries
end

local function cells()
  local entries = { f("error", 0, U16), f("voltage", 2, U16), f("current", 4, I16), f("temperature", 6, I16),
    f("soc", 8, U8), f("state", 9, U8), f("remaincapacity", 10, U16) }
  for i = 1, 6 do entries[#entries + 1] = f("cellvoltage" .. i, 10 + 2 * i, U16) end
  return entries
end

local LAYOUTS = {
  time_sync = { f("gps_time", 0, U64) },
  command = { f("command", 0, U16), f("utctimeinterval", 2, I64), f("timezone", 10, I32) },
  ack = { f("command", 0, U16), f("result", 2, U8) },
  key = { f("key_id", 0, U8, RC_KEYS), f("key_time", 1, U8), f("key_value", 2, U8), f("key_status", 3, U8),
    f("key_free", 4, U32) },
  vstick = { f("lefthorizontal", 0, I16), f("righthorizontal", 2, I16), f("rightvertical", 4, I16),
    f("leftvertical", 6, I16), f("generalkey", 8, U16), f("gimbalpitch", 10, I16), f("combinedkey", 12, U16) },
  rc_request = { f("cmd", 0, U8, RC_COMMANDS), f("width", 1, U8), f("value", 2, U8) },
  rc_status = { f("type", 0, U8, RC_COMMANDS), f("length", 1, U8), f("status", 2, U8) },
  rc_speed = { f("type", 0, U8, RC_COMMANDS), f("length", 1, U8), f("speed", 2, U8) },
  rc_mode = { f("type", 0, U8, RC_COMMANDS), f("length", 1, U8), f("mode", 2, U8) },
  rc_calibration = { f("type", 0, U8, RC_COMMANDS), f("length", 1, U8), f("result", 2, U8) },
  rc_sticks = { f("type", 0, U8, RC_COMMANDS), f("length", 1, U8), f("righthorizontal", 2, I16),
    f("rightvertical", 4, I16), f("lefthorizontal", 6, I16), f("leftvertical", 8, I16), f("wheel1", 12, I16) },
  rc_state = { f("type", 0, U8, RC_COMMANDS), f("length", 1, U8), f("remainpower", 2, U8), f("rcsignal", 3, U8),
    f("dspsignal", 4, U8), f("calibrationstate", 5, U8), f("batterytemperature", 6, U8),
    f("chargingvoltage", 120, U16) },
  rc_calibration_state17 = { f("type", 0, U8, RC_COMMANDS), f("length", 1, U8), f("rightstick", 2, U32),
    f("leftstick", 6, U32), f("rightthumbwheel", 10, U32), f("leftthumbwheel", 14, U32), f("midvalidflag", 18, U8) },
  rc_calibration_state13 = { f("type", 0, U8, RC_COMMANDS), f("length", 1, U8), f("rightstick", 2, U32),
    f("leftstick", 6, U32), f("leftthumbwheel", 10, U32), f("midvalidflag", 14, U8) },
  rc_other = { f("type", 0, U8, RC_COMMANDS), f("length", 1, U8) },
  nest_rod = { f("command", 0, U8, NEST_COMMANDS), f("nesttype", 1, U8), f("nestaction", 2, U8) },
  nest_marked = { f("command", 0, U8, NEST_COMMANDS), f("marker", 1, HEX16) },
  nest_action = { f("command", 0, U8, NEST_COMMANDS), f("marker", 1, HEX16), f("nestaction", 3, U8) },
  nest_single_calibration = { f("command", 0, U8, NEST_COMMANDS), f("marker", 1, HEX16),
    f("nestcomponents", 3, U8), f("direction", 4, U8) },
  nest_system_config = { f("command", 0, U8, NEST_COMMANDS), f("marker", 1, HEX16), f("airopenlimit", 3, U8),
    f("aircloselimit", 4, U8), f("unixtime", 5, U32), f("autodischarge", 9, U8), f("autocharge", 10, U8) },
  nest_ack = { f("command", 0, U8, NEST_COMMANDS), f("result", 1, U8) },
  -- nest reports: the record starts after the report type
  report_status = { f("command", 0, U8, NEST_COMMANDS),
    g("power", 1, { f("error", 0, U16), f("state", 2, U8) }),
    g("uav", 4, { f("error", 0, U16), f("inplace", 2, U8), f("poweron", 3, U8), f("charging", 4, U8) }),
    g("chg0", 9, charger()), g("chg1", 25, charger()),
    f("batstbyerror", 41, U16), f("motorerror", 43, U16),
    g("temp0", 45, climate()), g("temp1", 53, climate()),
    g("atmos", 61, { f("error", 0, U16), f("windspeed", 2, U16), f("winddirection", 4, U16),
      f("rainfall", 6, U16), f("pressure", 8, U32), f("temperature", 12, I16), f("humidity", 14, U16) }),
    g("mpu", 77, { f("error", 0, U16), f("tilt", 2, U8) }),
    g("water", 80, { f("error", 0, U16), f("leak", 2, U8) }),
    g("tec", 83, { f("error", 0, U16), f("power", 2, U8), f("mode", 3, U8), f("targettemperature", 4, I16),
      f("insidetemperature", 6, I16), f("outsidetemperature", 8, I16), f("fanlevel", 10, U8) }),
    f("led", 94, U8), f("sysmode", 95, U8), f("sysstep", 96, U8),
    g("fan", 97, fan()) },
  report_battery_dynamic = { f("command", 0, U8, NEST_COMMANDS), g("battery", 1, cells()) },
  report_battery_static = { f("command", 0, U8, NEST_COMMANDS), g("battery", 1, {
    f("designcapacity", 0, U16), f("fullcapacity", 2, U16), f("designvoltage", 4, U16), f("cyclecount", 6, U16),
    f("cellcount", 8, U8), f("health", 9, U8), f("serialnumber", 10, STR16) }) },
  report_backup_battery = { f("command", 0, U8, NEST_COMMANDS), g("backup", 1, {
    f("error", 0, U16), f("voltage", 2, U16), f("current", 4, I16), f("temperature", 6, I16), f("soc", 8, U8),
    f("state", 9, U8) }) },
  report_motor_drivers = { f("command", 0, U8, NEST_COMMANDS), g("hatch", 1, motor_driver()),
    g("xrod", 9, motor_driver()), g("yrod", 17, motor_driver()), g("zrod", 25, motor_driver()) },
  report_zrod_ready = { f("command", 0, U8, NEST_COMMANDS), f("ready", 1, U8) },
  report_self_check = { f("command", 0, U8, NEST_COMMANDS), f("checkstate", 1, U8), f("checkresult", 2, U8),
    f("faultmask", 3, U32) },
  report_auto_task = { f("command", 0, U8, NEST_COMMANDS), f("action", 1, U8), f("errcode", 2, U16) },
  report_heartbeat = { f("command", 0, U8, NEST_COMMANDS), f("uptime", 1, U32), f("linkquality", 5, U8),
    f("rssi", 6, I8), f("hbstate", 7, U8) },
  report_other = { f("command", 0, U8, NEST_COMMANDS) },
  at_command = { f("code", 0, U8, AT_COMMANDS) },
  at_choose = { f("code", 0, U8, AT_COMMANDS), f("choice", 1, U8) },
  at_progress = { f("code", 0, U8, AT_COMMANDS), f("progress", 1, I8) },
  at_answer = { f("code", 0, U8, AT_COMMANDS), f("data0", 1, U8) },
  versions = { f("devicetype", 0, U8), f("translen", 1, U8), f("rclen", 2, U8), f("mculen", 3, U8),
    f("motorlen", 4, U8) },
}

-- The layout of a payload, by msgid, direction and sub-command.
local function layout_of(msgid, from_gateway, payload)
  local len = payload:len()
  local b0 = len > 0 and payload(0, 1):uint() or nil
  if msgid == 24 then return "time_sync" end
  if msgid == 110 then return from_gateway and "command" or "ack" end
  if msgid == 144 then return "key" end
  if msgid == 148 then return "vstick" end
  if msgid == 150 then
    if from_gateway then return "rc_request" end
    if b0 == 1 or b0 == 18 then return "rc_status" end
    if b0 == 2 then return "rc_speed" end
    if b0 == 19 then return "rc_mode" end
    if b0 == 13 then return "rc_calibration" end
    if b0 == 14 then return "rc_sticks" end
    if b0 == 15 then return "rc_state" end
    if b0 == 25 and len >= 2 then
      local l = payload(1, 1):uint()
      if l == 17 then return "rc_calibration_state17" end
      if l == 13 then return "rc_calibration_state13" end
    end
    return "rc_other"
  end
  if msgid == 182 then
    if from_gateway then
      if b0 == 1 or b0 == 2 or b0 == 3 or b0 == 8 then return "nest_rod" end
      if b0 == 10 then return "nest_single_calibration" end
      if b0 == 16 then return "nest_system_config" end
      if len == 4 then return "nest_action" end
      return "nest_marked"
    end
    local reports = { [32] = "report_status", [33] = "report_battery_dynamic", [34] = "report_battery_static",
      [35] = "report_backup_battery", [37] = "report_motor_drivers", [39] = "report_zrod_ready",
      [40] = "report_self_check", [49] = "report_auto_task", [64] = "report_heartbeat" }
    return reports[b0] or "report_other"
  end
  if msgid == 183 then return "nest_ack" end
  if msgid == 200 then return b0 == 7 and "at_choose" or "at_command" end
  if msgid == 201 then return b0 == 6 and "at_progress" or "at_answer" end
  if msgid == 219 and not from_gateway then return "versions" end
  return nil
end

-- Name of the sub-command a payload carries, for the tree and the Info column.
local function subcommand(msgid, from_gateway, payload)
  if payload:len() == 0 then return nil end
  local b0 = payload(0, 1):uint()
  if msgid == 150 then return RC_COMMANDS[b0] end
  if msgid == 182 or msgid == 183 then return NEST_COMMANDS[b0] end
  if msgid == 200 or msgid == 201 then return AT_COMMANDS[b0] end
  if msgid == 110 and payload:len() >= 2 and payload(0, 2):le_uint() == 78 then return "RC system time" end
  if msgid == 144 then return RC_KEYS[b0] and ("key " .. RC_KEYS[b0]) end
  return nil
end

-- ---------------------------------------------------------------------------
-- Fields

local FIELD_TYPES = {
  u8 = { ftypes.UINT8, base.DEC }, i8 = { ftypes.INT8, base.DEC }, u16 = { ftypes.UINT16, base.DEC },
  i16 = { ftypes.INT16, base.DEC }, u32 = { ftypes.UINT32, base.DEC }, i32 = { ftypes.INT32, base.DEC },
  u64 = { ftypes.UINT64, base.DEC }, i64 = { ftypes.INT64, base.DEC }, hex16 = { ftypes.UINT16, base.HEX },
  str16 = { ftypes.STRING, base.NONE },
}
local FIELD_SIZES = { u8 = 1, i8 = 1, u16 = 2, i16 = 2, u32 = 4, i32 = 4, u64 = 8, i64 = 8, hex16 = 2, str16 = 16 }

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
local payload_fields = {}
local function make_fields(prefix, entries)
  for _, e in ipairs(entries) do
    if e.group then
      make_fields(prefix .. "." .. e.group, e.entries)
    else
      local abbrev = prefix .. "." .. e.name
      local ft = FIELD_TYPES[e.t]
      e.abbrev = abbrev
      payload_fields[abbrev] = ProtoField.new(e.name, abbrev, ft[1], e.names, ft[2])
    end
  end
end
for name, entries in pairs(LAYOUTS) do make_fields("xolt." .. name, entries) end

local all_fields = {}
for _, field in pairs(hf) do all_fields[#all_fields + 1] = field end
for _, field in pairs(payload_fields) do all_fields[#all_fields + 1] = field end
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
        local sub = tree:add(payload(e.off, len - e.off), e.group)
        add_entries(sub, payload(e.off):tvb(), e.entries)
      end
    else
      local size = FIELD_SIZES[e.t]
      if e.off + size <= len then
        local range = payload(e.off, size)
        if e.t == STR16 then
          tree:add(payload_fields[e.abbrev], range, range:stringz())
        else
          tree:add_le(payload_fields[e.abbrev], range)
        end
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

-- Dissects one frame at offset; returns its length on the wire (0 when the
-- rest of the datagram cannot be a frame) and an Info column text.
local function dissect_frame(tvb, pinfo, tree, offset)
  local left = tvb:len() - offset
  if left < 10 then
    local item = tree:add(xolt, tvb(offset, left), "Xolt link frame (cut short)")
    item:add_proto_expert_info(ef.truncated)
    return left, "cut short"
  end
  local n = tvb(offset + 1, 2):le_uint()
  local seq = tvb(offset + 3, 1):uint()
  local destid = tvb(offset + 4, 1):uint()
  local sourceid = tvb(offset + 5, 1):uint()
  local msgid = tvb(offset + 6, 1):uint()
  if n > 512 then
    local item = tree:add(xolt, tvb(offset, 3), "Xolt link frame (payload length " .. n .. ")")
    item:add_proto_expert_info(ef.too_long)
    return left, "bad length"
  end
  local frame_len = n + 10
  if frame_len > left then
    local item = tree:add(xolt, tvb(offset, left), "Xolt link frame (cut short)")
    item:add_proto_expert_info(ef.truncated)
    return left, "cut short"
  end

  local from_gateway = sourceid == DEV_APP
  local payload = tvb(offset + 8, n):tvb()
  local name = MESSAGES[msgid] or "unknown message"
  if msgid == 182 then name = from_gateway and "Nest command" or "Nest report" end
  if msgid == 110 and not from_gateway then name = "Command acknowledgement" end
  if msgid == 219 then name = from_gateway and "Version query" or "Version answer" end
  local sub = subcommand(msgid, from_gateway, payload)

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
  local checksum = tvb(offset + 7, 1):uint()
  local checksum_item = frame:add(hf.checksum, tvb(offset + 7, 1))
  local checksum_good = checksum == sum
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
    if msgid == 219 and not from_gateway then add_versions(payload_item, payload) end
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
    local used, info = dissect_frame(tvb, pinfo, tree, offset)
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

-- The fields of a message in [offset, limit): {number, wire type, value
-- offset, value length, varint value, its low 32 bits}; nil when malformed.
local function pb_fields(tvb, offset, limit)
  local fields = {}
  while offset < limit do
    local key, _, next_offset = read_varint(tvb, offset, limit)
    if key == nil then return nil end
    local number, wire = math.floor(key / 8), key % 8
    local field = { number = number, wire = wire }
    if wire == 0 then
      field.value, field.low32, next_offset = read_varint(tvb, next_offset, limit)
      if field.value == nil then return nil end
      field.offset, field.len = offset, next_offset - offset
    elseif wire == 2 then
      local len
      len, _, next_offset = read_varint(tvb, next_offset, limit)
      if len == nil or next_offset + len > limit then return nil end
      field.offset, field.len = next_offset, len
      next_offset = next_offset + len
    elseif wire == 1 or wire == 5 then
      field.offset, field.len = next_offset, wire == 1 and 8 or 4
      next_offset = next_offset + field.len
      if next_offset > limit then return nil end
    else
      return nil
    end
    fields[#fields + 1] = field
    offset = next_offset
  end
  return fields
end

local function find_field(fields, number)
  for _, field in ipairs(fields or {}) do
    if field.number == number then return field end
  end
  return nil
end

local function signed32(low32)
  return low32 >= 2 ^ 31 and low32 - 2 ^ 32 or low32
end

local protobuf = Dissector.get("protobuf")

-- Hands bytes [offset, offset + len) to the protobuf dissector as type.
local function decode_as(tvb, pinfo, tree, offset, len, type_name, label)
  local item = tree:add(qf.body_type, tvb(offset, len), type_name)
  item:set_text(label .. ": " .. type_name)
  if protobuf and len > 0 then
    pinfo.private["pb_msg_type"] = "message,quelby.protocol." .. type_name
    protobuf:call(tvb(offset, len):tvb(), pinfo, item)
  end
  return item
end

-- Dissects one envelope; returns the Info column text.
local function dissect_envelope(tvb, pinfo, root)
  local len = tvb:len()
  local envelope = pb_fields(tvb, 0, len)
  local head = find_field(envelope, 1)
  if head == nil or head.wire ~= 2 then
    root:append_text(" (no header)")
    return "App datagram without an envelope header"
  end

  local head_fields = pb_fields(tvb, head.offset, head.offset + head.len) or {}
  local token, head_type, message_id, sequence = "", 0, 0, 0
  local f_token, f_type = find_field(head_fields, 1), find_field(head_fields, 2)
  local f_id, f_seq = find_field(head_fields, 5), find_field(head_fields, 6)
  if f_token and f_token.wire == 2 then
    token = tvb(f_token.offset, f_token.len):string()
    root:add(qf.token, tvb(f_token.offset, f_token.len), token)
  end
  if f_type and f_type.wire == 0 then
    head_type = signed32(f_type.low32)
    root:add(qf.head_type, tvb(f_type.offset, f_type.len), head_type)
      :append_text(" (" .. (HEAD_TYPES[head_type] or "?") .. ")")
  end
  if f_id and f_id.wire == 0 then
    message_id = f_id.low32
    root:add(qf.message_id, tvb(f_id.offset, f_id.len), message_id)
      :append_text(" (" .. (message_name(message_id) or "unknown") .. ")")
  end
  if f_seq and f_seq.wire == 0 then
    sequence = signed32(f_seq.low32)
    root:add(qf.sequence, tvb(f_seq.offset, f_seq.len), sequence)
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
  local any = find_field(envelope, 2)
  if any == nil or any.wire ~= 2 then return info end
  local value = find_field(pb_fields(tvb, any.offset, any.offset + any.len), 2)
  if value == nil or value.wire ~= 2 then return info end

  if head_type == 1 then
    local body = REQUEST_BODIES[message_id]
    if body == nil then return info end
    decode_as(tvb, pinfo, root, value.offset, value.len, body, "Request body")
    if body == "DroneParamMessageRequest" then
      for _, param in ipairs(pb_fields(tvb, value.offset, value.offset + value.len) or {}) do
        local param_any = param.number == 1 and find_field(pb_fields(tvb, param.offset, param.offset + param.len), 3)
        local param_value = param_any and find_field(pb_fields(tvb, param_any.offset,
          param_any.offset + param_any.len), 2)
        if param_value and param_value.wire == 2 then
          decode_as(tvb, pinfo, root, param_value.offset, param_value.len, "ParameterInt32", "Parameter value")
        end
      end
    end
  elseif head_type == 2 then
    decode_as(tvb, pinfo, root, value.offset, value.len, "RspMessage", "Answer")
    local inner = ANSWER_DATA[message_id]
    local rsp_fields = pb_fields(tvb, value.offset, value.offset + value.len)
    local data = find_field(rsp_fields, 1)
    local status = find_field(rsp_fields, 2)
    if status and status.wire == 0 then
      info = info .. (status.low32 == 1 and " SUCCESS" or (status.low32 == 2 and " ERROR" or ""))
    end
    if inner and data and data.wire == 2 and data.len > 0 then
      decode_as(tvb, pinfo, root, data.offset, data.len, inner, "Answer data")
      if inner == "DroneParamMessageResponse" then
        for _, param in ipairs(pb_fields(tvb, data.offset, data.offset + data.len) or {}) do
          local param_value = param.number == 1 and find_field(pb_fields(tvb, param.offset,
            param.offset + param.len), 3)
          if param_value and param_value.wire == 2 and param_value.len > 0 then
            decode_as(tvb, pinfo, root, param_value.offset, param_value.len, "ParameterInt32", "Parameter value")
          end
        end
      end
    end
  else
    local body = REPORT_BODIES[message_id]
    if body then decode_as(tvb, pinfo, root, value.offset, value.len, body, "Report") end
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

local function register(proto, ports)
  if registered[proto] then udp_port:remove(registered[proto], proto) end
  registered[proto] = nil
  if ports and ports ~= "" then
    udp_port:add(ports, proto)
    registered[proto] = ports
  end
end

local function register_all()
  register(xolt, xolt.prefs.ports)
  register(quelby, quelby.prefs.ports)
end

function xolt.prefs_changed() register_all() end
function quelby.prefs_changed()
  message_names = nil
  register_all()
end

register_all()
