#include "convert/QxImReadDialogNegotiator.h"

#include "host/dialogs/QxImReadDialog.h"
#include "host/base/TbAssertionHandlerInit.h"

namespace {
TbAssertionHandlerInit assertionHandler;
}

QObject* QxImReadDialogNegotiator::create() {
  return new QxImReadDialog(nullptr, nullptr, true, Qt::WindowFlags());
}
