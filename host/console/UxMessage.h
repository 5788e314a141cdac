#pragma once
// UxMessage: the host's console and its question boxes.
//
// printf writes one message to the console (standard output, a line break
// added when the text lacks one) and hands it to the listener, if one is set.
// warning and error show a question with up to three buttons and return the
// index of the pressed one. They never block a batch run: the answer comes from
// the "warning" queue of UxBatchAnswers (a button label, compared without case,
// or an index), else from the default (the button labelled "No" if there is
// one, else button 0); only the interactive shell asks on the terminal. The
// question and the answer taken are printed on the console.
#include <functional>
#include <string>

class UxMessage {
 public:
  static UxMessage* getTheMsg();

  void printf(const char* format, ...) __attribute__((format(printf, 2, 3)));
  int warning(const char* text, const char* button0, const char* button1 = nullptr,
              const char* button2 = nullptr, int defaultButton = -1, int escapeButton = -1);
  int error(const char* text, const char* button0 = nullptr, const char* button1 = nullptr,
            const char* button2 = nullptr, int defaultButton = -1, int escapeButton = -1);

  // Receives every console message (tests and the shell's capture use it).
  void setListener(std::function<void(const std::string&)> listener);

 private:
  int ask(const char* kind, const char* text, const char* const* buttons);
  void showLine(const std::string& line);
  std::function<void(const std::string&)> listener;
};
