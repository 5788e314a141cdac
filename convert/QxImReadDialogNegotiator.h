#pragma once
// Builds the host's image-stack dialog on the host's dialog thread. The
// negotiator carries the dialog's settings between that thread and the
// converter's; the converter touches the dialog only between
// createForkedObject and putData, and between getData and deleteForkedObject.
#include "host/dialogs/ThreadNegotiator.h"
#include "package/PackageExport.h"

class UXDD_API QxImReadDialogNegotiator : public ThreadNegotiator {
 public:
  QObject* create() override;
};
