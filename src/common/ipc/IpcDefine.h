#ifndef LUMBRIX_IPC_DEFINE_H
#define LUMBRIX_IPC_DEFINE_H

// Kind of socket a handle stands for; also the key of its driver.
enum EIpcType {
    E_IPC_TYPE_DEFAULT = 0,
    E_IPC_TYPE_TCP = 1,        // listening TCP server
    E_IPC_TYPE_UDP = 2,        // bound UDP server
    E_IPC_TYPE_SHM = 3,        // not used
    E_IPC_TYPE_TCP_Client = 4, // connected TCP socket (served by the TCP driver)
    E_IPC_TYPE_UDP_Client = 5, // UDP sender, never read
};

// What the driver manager tells a driver about a ready socket.
enum EEventType {
    E_EVENT_TYPE_DEFAULT = 0,
    E_EVENT_TYPE_CONNECTION = 1,
    E_EVENT_TYPE_MESSAGE = 2,
    E_EVENT_TYPE_CLOSE = 3,
};

#endif
