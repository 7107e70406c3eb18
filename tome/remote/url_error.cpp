#include "tome/remote/url_error.h"

#include "files/url_credentials.h"
#include "tome/base/error.h"

namespace tome {

void refuse_url(std::string_view url, const std::string& why) {
    throw Error(ErrorCode::Invalid, "invalid remote URL (" + why + "): " + quill::without_credentials(url));
}

}  // namespace tome
