// The choice among candidate services.
#pragma once

#include <list>
#include <string>

#include "nec/ftpagent.h"
#include "nec/records.h"

namespace NEC {

// Chooses one of `candidates` for the NE at `neIP`, null for one without an address: those on an address of this `host`
// are preferred, and of these the first usable one that the NE can reach, by what `nodes` says of it; and tries to
// enter its root directory, whatever comes of that. Leaves in `candidates` those that it chose among. Returns 0 and
// fills `svc`; returns 0 and leaves `svc` when all candidates stand at 0.0.0.0; returns the code with which the last
// one could not be resolved, and leaves `svc`, when the NE can reach none. Throws what replaceByVirtualAddress throws,
// and std::bad_alloc.
int selectService(FTPSvcInfo& svc, const std::string* neIP, std::list<FTPSvcInfo>& candidates,
                  const std::list<std::string>& host, asn_frame::AsnFrameNodeIPList& nodes);

}  // namespace NEC
