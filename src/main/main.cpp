#include <cstdio>

#include "CpuAffinity.h"
#include "KsLog.h"
#include "KsSignal.h"
#include "LoggerConfig.h"
#include "LumbrixMainCtrl.h"

int main(int argc, char* argv[])
{
    if (argc <= 1) {
        printf("Usage age: %s ${configFile} [${cpuIds}]\n", argv[0]);
        printf("  example: %s ./Lumbrix.json 0,1,3\n", argv[0]);
        return 1;
    }

    CKsSignal::init();
    initLogger(argv[1]);

    if (argc > 2) {
        CCpuAffinity::pin(argv[2]);
    }

    CLumbrixMainCtrl* mainCtrl = CLumbrixMainCtrl::getInstance();
    if (mainCtrl != nullptr && mainCtrl->init(argv[1]) == 0) {
        mainCtrl->mainLoop();
    }
    KS_LOG_ERROR("Fail to init framework main ctrl object.");
    return 1;
}
