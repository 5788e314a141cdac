#pragma once
// QxImReadDialog: asks how to read a stack of images: the bounding box the
// stack fills, and how colour channels become values.
//
// It is a plain QObject, not a widget, so that it can live on the host's
// dialog thread (see ThreadNegotiator). exec never waits in a batch run: it
// takes the oldest "image" answer queued in UxBatchAnswers, whose words are
//   -bbox XMIN XMAX YMIN YMAX ZMIN ZMAX   (default: 0 width-1 0 height-1 0 depth-1)
//   -channel C                            (default: 2 for grey, 1 for colour)
// each optional and in any order, or the single word `cancel`. With nothing
// queued the dialog is cancelled. Only when the shell is interactive and
// standard input is a terminal does it ask there instead (an empty line takes
// the defaults; end of input cancels). The console shows what was asked and
// the answer taken. Malformed words print why and cancel (the terminal asks
// again). A cancelled dialog keeps the box and channel it had before.
#include <QObject>

#include <string>
#include <vector>

#include "host/dialogs/ThreadNegotiator.h"

class QWidget;

class QxImReadDialog : public QObject, public UxThreadedDialog {
  Q_OBJECT

 public:
  // The channel options: how many values each pixel of the stack keeps.
  enum ConvertMethod {
    MAXIMUM = 0,
    WEIGHTED_AVERAGE = 1,
    CHANNEL_1 = 2,
    CHANNEL_2 = 3,
    CHANNEL_3 = 4,
    ALPHA_CHANNEL = 5,
    COLOUR_FIELD = 10
  };

  // parent, modal and flags matter only to a windowed dialog; `parent` never
  // becomes the QObject parent, as it lives on another thread. name names the object.
  QxImReadDialog(QWidget* parent, const char* name, bool modal, Qt::WindowFlags flags);
  ~QxImReadDialog() override;

  // dims: width, height and depth of the stack; channels and file: of its
  // first image. The last four arguments are reserved. Resets box and channel
  // to their defaults.
  void setDims(int* dims, int channels, const char* file, int, float*, int, int);
  // 1 accepted, 0 cancelled.
  int exec() override;
  // xmin, xmax, ymin, ymax, zmin, zmax.
  void getBox(float* box) const;
  int getConvertMethod() const { return convertMethod; }

 private:
  struct Answer {
    bool cancel = false;
    bool boxGiven = false;
    bool channelGiven = false;
    float box[6] = {0, 0, 0, 0, 0, 0};
    int channel = 0;
  };

  std::string describe() const;
  bool parse(const std::vector<std::string>& words, Answer& answer, std::string& why) const;
  bool parseBox(const std::vector<std::string>& words, size_t at, Answer& answer, std::string& why) const;
  bool parseChannel(const std::vector<std::string>& words, size_t at, Answer& answer,
                    std::string& why) const;
  bool askTerminal(Answer& answer) const;
  int take(const Answer& answer, const char* source);
  void defaultBox(float* box) const;
  int defaultChannel() const;

  int dims[3] = {0, 0, 0};
  int channels = 1;
  std::string firstFile;
  float box[6] = {0, 0, 0, 0, 0, 0};
  int convertMethod = CHANNEL_1;
};
