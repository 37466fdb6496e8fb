#pragma once

#include "reference/http/http_exchange.h"
#include "reference/store/storage_service.h"

namespace drive::reference {

// The storage service's REST endpoints.
void addServiceRoutes(RouteTable& routes, StorageService& service);

}  // namespace drive::reference
