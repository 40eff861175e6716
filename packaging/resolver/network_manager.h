// NetworkManager, with or without its dnsmasq.
#pragma once

#include "packaging/resolver/writers.h"

namespace quenvar {

bool NetworkManagerRuns();

/// Fills the plan of a machine whose /etc/resolv.conf is NetworkManager's. `hasDnsmasq`: its dnsmasq holds port 53.
void PlanForNetworkManager(Plan& plan, bool hasDnsmasq);

}  // namespace quenvar
