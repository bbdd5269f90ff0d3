#pragma once

#include <QObject>

namespace mnemora {

class FirstRunView;
struct WindowServices;

// The first run of the primary window, wired to the window's services: it opens whenever the
// window store asks for the onboarding, and a user who declines the consent ends the
// application. None for a further vault's window.
namespace FirstRunWiring {

FirstRunView* make(const WindowServices& services, QObject* parent);

} // namespace FirstRunWiring

} // namespace mnemora
