#include <core/logging/diagnostics.h>
#include <core/logging/log.h>
#include <core/logging/pref_trace.h>
#include <core/version.h>

#include <stdio.h>

int main(void) {
    int32_t left;
    CoreLogSetLogLevelByModule("consumer", CORE_LOG_WARN);
    CoreLogPrintLog("consumer", CORE_LOG_WARN, "c", NULL, NULL, -1, "from C, %d", 99);
    left = ZYLCoreGetStackRemainedBytes(&left, NULL);
    printf("core %s: level %d, stack %s\n", CORE_VERSION_STRING,
           CoreLogGetLogLevelByModule("consumer"), left > 0 ? "left" : "used up");
    CoreLogShutdown();
    return left > 0 && CoreLogGetLogLevelByModule("consumer") == CORE_LOG_OFF ? 0 : 1;
}
