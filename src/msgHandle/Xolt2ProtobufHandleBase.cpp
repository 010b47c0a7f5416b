#include "Xolt2ProtobufHandleBase.h"

CXolt2ProtobufHandleBase::CXolt2ProtobufHandleBase() : m_ulMsgType(0) {}

CXolt2ProtobufHandleBase::~CXolt2ProtobufHandleBase() = default;
