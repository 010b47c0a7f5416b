#ifndef LUMBRIX_LOGGER_CONFIG_H
#define LUMBRIX_LOGGER_CONFIG_H

// Configures CKsLog from the "log" object of the gateway's configuration
// (a file path, or the JSON text itself): the internal target from the file's
// keys, the external card target from its switch and directory, then picks
// the current target. 0 on success; -1 leaves the logger as constructed.
int initLogger(const char* configFile);

#endif
