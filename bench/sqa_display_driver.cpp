// SPDX-License-Identifier: Apache-2.0
// Runs one SQA call display against the running dpservice with its output
// discarded, then prints this process's peak resident set size in KiB.
//
//   sqa_display_driver sip|h323 brief|verbose|probe
#include <fcntl.h>
#include <sys/resource.h>
#include <unistd.h>

#include <cstdio>
#include <cstring>

#include "dpmgmt/sqa.h"
#include "platform/dev.h"

int main(int argc, char **argv) {
    if (argc != 3) {
        std::fprintf(stderr, "usage: sqa_display_driver sip|h323 brief|verbose|probe\n");
        return 2;
    }
    const bool sip = std::strcmp(argv[1], "sip") == 0;
    const char *form = argv[2];
    const uint16_t node = DEV_GetSelf();
    char allCalls[SQA_CALLID_SIZE] = {};  // an empty call ID selects every call

    std::fflush(stdout);
    const int saved = dup(STDOUT_FILENO);
    const int null = open("/dev/null", O_WRONLY);
    dup2(null, STDOUT_FILENO);
    uint32_t rc;
    if (std::strcmp(form, "brief") == 0)
        rc = sip ? SQA_DUMP_DisSipCallEntry(node) : SQA_DUMP_DisH323CallEntry(node);
    else if (std::strcmp(form, "probe") == 0 && !sip)
        rc = SQA_DUMP_ProbeDisH323CallEntry(node, allCalls);
    else
        rc = sip ? SQA_DUMP_DisSipCallEntryVerbose(node, allCalls, 1) : SQA_DUMP_DisH323CallEntryVerbose(node, allCalls);
    std::fflush(stdout);
    dup2(saved, STDOUT_FILENO);

    rusage usage{};
    getrusage(RUSAGE_SELF, &usage);
    std::printf("%ld\n", usage.ru_maxrss);
    return rc == 0 ? 0 : 1;
}
