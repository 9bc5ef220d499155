#include <login/interactive/ZelkorLogin.h>

namespace login::interactive {

ZelkorLogin::ZelkorLogin() = default;
ZelkorLogin::~ZelkorLogin() = default;

} // namespace login::interactive
