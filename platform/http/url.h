// URLs: which ones can be sent to, and how a log may show them.
#pragma once

#include <string>

namespace frame {

// Why `url` is no absolute http or https URL; empty when it is one.
std::string faultOf(const std::string& url);

// `url`, or what was meant as one, without what may be secret: its query, and all of it when there may be a user with a
// password in it.
std::string shownInLog(const std::string& url);

}  // namespace frame
