#include "network/http_response.h"

namespace KRBASE::network {

HttpResponse::~HttpResponse() = default;

HttpResponseUser::~HttpResponseUser() = default;

}  // namespace KRBASE::network
