#include "convert/QxImReadDialogNegotiator.h"

#include "host/QxImReadDialog.h"
#include "host/TbAssertionHandlerInit.h"

namespace {
TbAssertionHandlerInit assertionHandler;
}

QObject* QxImReadDialogNegotiator::create() {
  return new QxImReadDialog(nullptr, nullptr, true, Qt::WindowFlags());
}
