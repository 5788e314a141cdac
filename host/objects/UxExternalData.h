#pragma once
// UxExternalData: a 3-D lattice whose samples the object serves on request,
// box by box, instead of holding them in memory.
//
// A BlockRequest names a box (origin in full-resolution samples, size counted
// at the requested subsampling) and the caller's buffer, which holds the box
// bufferOrigin/bufferSize describe; samples lie x fastest, the nDataVar
// components of a sample together, in the machine's byte order. getBlock and
// putBlock return 1 when the whole box was transferred and 0 otherwise; the
// base class serves nothing. Beyond UxData's words, parse understands getDims,
// getNDataVar, getPrimType, isWritable, readBox, writeBox, saveParameters and
// preview (see UxExternalDataCommands.cpp); their failures set the result.
#include "host/base/TbPrimType.h"
#include "host/objects/UxData.h"

class UxExternalData : public UxData {
 public:
  class BlockRequest {
   public:
    BlockRequest();
    virtual ~BlockRequest();

    void* data;
    int bufferOrigin[3];
    int bufferSize[3];
    int bufferSpare[3];
    int origin[3];
    int size[3];
    int boxSpare[3];
    int subsampling[3];
    int spare;
  };

  UxExternalData(const int* dims, int nDataVar, TbPrimType primType);
  ~UxExternalData() override;

  TbTypeInfo* getTypeId() const override;
  static TbTypeInfo* getClassTypeId();

  int parse(Tcl_Interp* interp, int argc, char** argv) override;

  virtual int getBlock(const BlockRequest* request);
  virtual int isWritable();
  virtual int putBlock(const BlockRequest* request);
  virtual int getNumTimeSteps();
  virtual double getPhysicalTime(int timeStep);
  virtual bool canSaveParameters() const;
  virtual int saveParameters(const UxParamBundle& params);
  virtual void clear();

  void getDims(int* out) const;
  int getNDataVar() const { return nDataVar; }
  TbPrimType getPrimType() const { return primType; }
  // Bytes of one sample: nDataVar elements.
  int getSampleSize() const { return nDataVar * primType.size(); }

 protected:
  int dims[3];
  int nDataVar;
  TbPrimType primType;
};
