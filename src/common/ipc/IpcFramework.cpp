#include "common/ipc/IpcFramework.h"

#include <cstdio>
#include <new>
#include <utility>

#include "common/ipc/eventDriver/EventLoop.h"
#include "common/ipc/ipcDriver/IpcDriverManager.h"
#include "common/ipc/ipcDriver/IpcTcpSocketDriver.h"
#include "common/ipc/ipcDriver/IpcUdpSocketDriver.h"
#include "common/ipc/Ipv4Address.h"
#include "common/core/KsLog.h"

CIpcFramework::~CIpcFramework()
{
    release();
}

int CIpcFramework::init()
{
    if (m_spEventLoop) {
        return 0;
    }
    CEventLoop* loop = new (std::nothrow) CEventLoop();
    if (loop == nullptr) {
        KS_LOG_ERROR("Fail to allocate memory for event loop.");
        return -1;
    }
    m_spEventLoop.reset(loop);
    // Drivers first, so that the loop never sees a handle without a driver.
    CIpcDriverManager::getInstance()->init();
    m_spEventLoop->start();
    return 0;
}

void CIpcFramework::release()
{
    std::map<int, std::shared_ptr<CIpcHandleBase>> handles;
    {
        std::lock_guard<std::mutex> lock(m_mutexHandle);
        handles.swap(m_mapHandle);
    }
    if (m_spEventLoop) {
        for (auto& entry : handles) {
            m_spEventLoop->unRegisterHandle(entry.first);
            m_spEventLoop->retire(std::move(entry.second));
        }
        m_spEventLoop->stop();
    }
}

int CIpcFramework::createUDPServer(const std::string& ip, unsigned short port, std::shared_ptr<CIpcHandleBase> handle)
{
    const int fd = CIpcUdpSocketDriver::getInstance()->createUdpServer(ip, port);
    if (fd < 0) {
        KS_LOG_ERROR("failed to create UdpServer");
        return -1;
    }
    handle->setHandle(fd);
    handle->setIpcType(E_IPC_TYPE_UDP);
    handle->setLocalIP(ip);
    handle->setLocalPort(port);
    registerEvent(handle);
    return 0;
}

int CIpcFramework::createUDPClient(const std::string& remoteIp, unsigned short remotePort,
                                   std::shared_ptr<CIpcHandleBase> handle, const std::string& localIp,
                                   unsigned short localPort)
{
    int fd = -1;
    if (localPort != 0) {
        fd = CIpcUdpSocketDriver::getInstance()->createUdpServer(localIp, localPort);
        printf("create Udp client: %s:%u --> %s:%u, sockfd = %d\n", localIp.c_str(), localPort, remoteIp.c_str(),
               remotePort, fd);
    } else {
        fd = CIpcUdpSocketDriver::getInstance()->createUdpClient();
        printf("create Udp client: localhost --> %s:%u, sockfd = %d\n", remoteIp.c_str(), remotePort, fd);
    }
    if (fd < 0) {
        KS_LOG_ERROR("failed to create UdpClient");
        return -1;
    }
    handle->setHandle(fd);
    handle->setIpcType(E_IPC_TYPE_UDP_Client);
    handle->setLocalIP(localIp);
    handle->setLocalPort(localPort);
    handle->setRemoteIP(remoteIp);
    handle->setRemotePort(remotePort);
    KS_LOG_INFO("Create udp client success, remote ip:" << remoteIp << ", remote port:" << remotePort << ", fd:" << fd);
    return 0;
}

int CIpcFramework::createTCPServer(const std::string& ip, unsigned short port, std::shared_ptr<CIpcHandleBase> handle)
{
    const int fd = CIpcTcpSocketDriver::getInstance()->createTcpServer(ip, port);
    if (fd < 0) {
        KS_LOG_ERROR("failed to create TcpServer");
        return -1;
    }
    handle->setHandle(fd);
    handle->setIpcType(E_IPC_TYPE_TCP);
    handle->setLocalIP(ip);
    handle->setLocalPort(port);
    return registerEvent(handle);
}

int CIpcFramework::createTCPClient(const std::string& ip, unsigned short port, std::shared_ptr<CIpcHandleBase> handle)
{
    const int fd = CIpcTcpSocketDriver::getInstance()->createTcpClient(ip, port);
    if (fd < 0) {
        KS_LOG_ERROR("failed to create TcpClient");
        return -1;
    }
    handle->setHandle(fd);
    handle->setIpcType(E_IPC_TYPE_TCP_Client);
    handle->setRemoteIP(ip);
    handle->setRemotePort(port);
    KS_LOG_INFO("Create tcp client success, remote ip:" << ip << ", remote port:" << port << ", fd:" << fd);
    return 0;
}

int CIpcFramework::registerEvent(std::shared_ptr<CIpcHandleBase> handle)
{
    if (!m_spEventLoop) {
        KS_LOG_ERROR("The ipc framework is not inited, name:" << handle->getName());
        return -1;
    }
    std::lock_guard<std::mutex> lock(m_mutexHandle);
    CIpcHandleBase* raw = handle.get();
    m_mapHandle[raw->getHandle()] = std::move(handle);
    return m_spEventLoop->registerHandle(raw);
}

int CIpcFramework::unRegisterEvent(int fd)
{
    int result = 0;
    if (!m_spEventLoop || m_spEventLoop->unRegisterHandle(fd) != 0) {
        KS_LOG_ERROR("unRegister handle failed");
        result = -1;
    }
    std::shared_ptr<CIpcHandleBase> dropped;
    {
        std::lock_guard<std::mutex> lock(m_mutexHandle);
        auto it = m_mapHandle.find(fd);
        if (it != m_mapHandle.end()) {
            dropped = std::move(it->second);
            m_mapHandle.erase(it);
        }
    }
    // The loop may be dispatching this handle's event right now, on its own
    // thread: it keeps the handle until that round is over.
    if (dropped && m_spEventLoop) {
        m_spEventLoop->retire(std::move(dropped));
    }
    return result;
}

std::shared_ptr<CIpcHandleBase> CIpcFramework::getHandleBase(int fd)
{
    std::lock_guard<std::mutex> lock(m_mutexHandle);
    auto it = m_mapHandle.find(fd);
    return it == m_mapHandle.end() ? nullptr : it->second;
}

int CIpcFramework::sendData(int ipcType, int fd, const char* data, int len, const std::string& ip, unsigned short port)
{
    return send(ipcType, fd, data, len, ipv4Address(ip, port));
}

int CIpcFramework::send(int ipcType, int fd, const char* data, int len, const sockaddr_in& to)
{
    CIpcDriverBase* driver = CIpcDriverManager::getInstance()->sendDriver(ipcType);
    if (driver == nullptr) {
        // A connected TCP handle and every other type send nothing.
        return 0;
    }
    if (driver->sendData(fd, data, len, to) == -1) {
        KS_LOG_ERROR((driver->getDriverType() == E_IPC_TYPE_TCP ? "tcp" : "udp") << " send data");
        return -1;
    }
    return 0;
}
