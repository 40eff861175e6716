// systemd-resolved: its own list of name servers, its stub on port 53, and its links.
#pragma once

#include "packaging/resolver/writers.h"

namespace quenvar {

bool IsResolvedsStub(const std::string& program);

/// It switches off the stub that nobody asks any more.
Change StubChange();

/// Fills the plan of a machine whose /etc/resolv.conf is systemd-resolved's.
void PlanForResolved(Plan& plan, bool stubListens);

}  // namespace quenvar
