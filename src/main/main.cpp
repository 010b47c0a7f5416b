#include <cstdio>

#include "main/CpuAffinity.h"
#include "common/core/KsLog.h"
#include "common/util/KsSignal.h"
#include "framework/LoggerConfig.h"
#include "main/LumbrixMainCtrl.h"
#include "LumbrixVersion.h"

int main(int argc, char* argv[])
{
    if (argc <= 1) {
        printf("Usage age: %s ${configFile} [${cpuIds}]\n", argv[0]);
        printf("  example: %s ./Lumbrix.json 0,1,3\n", argv[0]);
        return 1;
    }

    CKsSignal::init();
    initLogger(argv[1]);
    // Which build is running, first thing in the log it has just set up; at
    // Error level so that every configured level writes it.
    KS_LOG_ERROR("Lumbrix version " << LUMBRIX_VERSION);

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
