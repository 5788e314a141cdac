#pragma once
// UxModule: a host object that computes something from its ports.
//
// The ports register themselves in their constructors; the module lists them
// in creation order and never owns them (they are its members). The host runs
// update() and then compute() after ports changed, and afterwards clears every
// port's new-value mark and button presses; the Tcl word fire does the same.
//
// parse() understands, besides UxObject's words:
//   MODULE getPorts            the port names, in order
//   MODULE fire                update(), compute(), then the marks are cleared
//   MODULE PORT WORD ...       handed to that port's parse (argv[0] the port)
// Errors follow UxObject::parse: an unknown word fails through cmdError and
// lists the words and port names on offer. Nothing throws.
#include "host/base/TbDArray.h"
#include "host/objects/UxObject.h"
#include "host/modules/UxPort.h"

class TbInterfaceOwner;

class UxModule : public UxObject {
 public:
  // Set in moduleFlags when the module takes a data connection through portData.
  static const unsigned int TAKES_DATA_CONNECTION = 4;

  explicit UxModule(TbInterfaceOwner* owner = nullptr);
  ~UxModule() override;

  TbTypeInfo* getTypeId() const override;
  static TbTypeInfo* getClassTypeId();

  int parse(Tcl_Interp* interp, int argc, char** argv) override;

  virtual void compute();
  virtual void update();

  // update(), compute(), then every port forgets its new value and presses.
  void fire();

  int numPorts() const { return ports.size(); }
  UxPort* getPort(int index) const { return ports[index]; }
  // Null when the module has no port of that name.
  UxPort* findPort(const char* name) const;
  TbInterfaceOwner* getInterfaceOwner() const { return interfaceOwner; }

  // For UxPort's constructor and destructor only.
  void addPort(UxPort* port);
  void removePort(UxPort* port);

  unsigned int moduleFlags = TAKES_DATA_CONNECTION;

 private:
  TbInterfaceOwner* interfaceOwner;
  TbDArray<UxPort*> ports;

 public:
  // Declared after the list it registers in, so that the list exists first.
  UxPort portData;
};
