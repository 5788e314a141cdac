// Qt's emit keyword would swallow UxMessage's member of that name.
#define QT_NO_KEYWORDS
#include "host/dialogs/UxQuestionAnswerer.h"

#include <unistd.h>

#include <QAbstractButton>
#include <QApplication>
#include <QEvent>
#include <QMessageBox>
#include <QMetaEnum>
#include <QPointer>
#include <QPushButton>
#include <QTimer>
#include <cstdio>
#include <iostream>
#include <string>
#include <vector>

#include "host/dialogs/UxBatchAnswers.h"
#include "host/console/UxMessage.h"

namespace {

// A standard button by its name ("Yes", "No", "Cancel", ...), any other by its
// text without the shortcut marks.
QString buttonName(const QMessageBox* box, QAbstractButton* button) {
  const int standard = box->standardButton(button);
  if (standard != QMessageBox::NoButton) {
    const char* key = QMetaEnum::fromType<QMessageBox::StandardButtons>().valueToKey(standard);
    if (key) return QString::fromLatin1(key);
  }
  return button->text().remove(QLatin1Char('&'));
}

QAbstractButton* buttonNamed(const QMessageBox* box, const std::string& word) {
  const QString wanted = QString::fromStdString(word);
  for (QAbstractButton* button : box->buttons())
    if (buttonName(box, button).compare(wanted, Qt::CaseInsensitive) == 0) return button;
  return nullptr;
}

// Without a No, the answer is what Escape would give: the escape button the box
// was given, or else its one button that rejects.
QAbstractButton* defaultAnswer(const QMessageBox* box) {
  if (QAbstractButton* no = box->button(QMessageBox::No)) return no;
  if (box->escapeButton()) return box->escapeButton();
  const QList<QAbstractButton*> buttons = box->buttons();
  for (QAbstractButton* button : buttons)
    if (box->buttonRole(button) == QMessageBox::RejectRole) return button;
  if (box->defaultButton()) return box->defaultButton();
  return buttons.isEmpty() ? nullptr : buttons.first();
}

std::string offer(const QMessageBox* box) {
  std::string text;
  for (QAbstractButton* button : box->buttons())
    text += (text.empty() ? "" : "/") + buttonName(box, button).toStdString();
  return text;
}

QAbstractButton* askTerminal(const QMessageBox* box) {
  for (;;) {
    std::fputs("answer> ", stdout);
    std::fflush(stdout);
    std::string line;
    if (!std::getline(std::cin, line)) return nullptr;
    if (QAbstractButton* chosen = buttonNamed(box, line)) return chosen;
  }
}

bool personAnswers() {
  return UxBatchAnswers::interactive() && isatty(STDIN_FILENO);
}

// Nobody can see a box drawn offscreen: a person can only answer it on the terminal.
bool boxIsVisibleToPerson() {
  const QString platform = QGuiApplication::platformName();
  return platform != QLatin1String("offscreen") && platform != QLatin1String("minimal");
}

}  // namespace

UxQuestionAnswerer::UxQuestionAnswerer(QObject* application) : QObject(application) {}

void UxQuestionAnswerer::install() {
  static QPointer<UxQuestionAnswerer> installed;
  QCoreApplication* application = QCoreApplication::instance();
  if (!application || installed) return;
  installed = new UxQuestionAnswerer(application);
  application->installEventFilter(installed);
}

// The box is shown before its event loop starts; a click now would close it
// before the loop could notice, so the answer waits for the loop.
bool UxQuestionAnswerer::eventFilter(QObject* watched, QEvent* event) {
  if (event->type() != QEvent::Show) return false;
  QMessageBox* box = qobject_cast<QMessageBox*>(watched);
  if (box) QTimer::singleShot(0, box, [box] { answer(box); });
  return false;
}

void UxQuestionAnswerer::answer(QMessageBox* box) {
  if (!box->isVisible()) return;
  if (personAnswers() && boxIsVisibleToPerson()) return;
  UxMessage* console = UxMessage::getTheMsg();
  console->printf("question: %s [%s]", box->text().toStdString().c_str(), offer(box).c_str());
  QAbstractButton* chosen = nullptr;
  const char* source = "default";
  std::vector<std::string> words;
  if (UxBatchAnswers::pop(UxBatchAnswers::QUESTION, words) && !words.empty()) {
    chosen = buttonNamed(box, words[0]);
    source = chosen ? "script" : "default, the script's answer matched no button";
  } else if (personAnswers()) {
    chosen = askTerminal(box);
    source = chosen ? "terminal" : "default, the terminal closed";
  }
  if (!chosen) chosen = defaultAnswer(box);
  if (!chosen) {
    console->printf("answer: none, the box has no buttons (%s)", source);
    box->reject();
    return;
  }
  console->printf("answer: %s (%s)", buttonName(box, chosen).toStdString().c_str(), source);
  chosen->click();
}
