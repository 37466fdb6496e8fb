#pragma once

#include "reference/http_exchange.h"
#include "reference/storage_service.h"

namespace drive::reference {

// The storage service's REST endpoints.
void addServiceRoutes(RouteTable& routes, StorageService& service);

}  // namespace drive::reference
