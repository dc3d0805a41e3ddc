/* Every public header compiles as strict C99. */
#include "dpmgmt/channels.h"
#include "dpmgmt/connlmt.h"
#include "dpmgmt/session.h"
#include "dpmgmt/sqa.h"

int dpmgmt_headers_c99_check(void);
int dpmgmt_headers_c99_check(void) { return (int)sizeof(SESSION_TABLEINFO_S); }
