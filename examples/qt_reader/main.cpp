// A Qt 6 reader: a long article in sections with a reply box, and a second page of comments.
// zelvo::qt does the integration: the library's loop on Qt's event loop, the application's
// input as engagement (the wheel, keys, clicks), its state as the foreground, the reply box as
// writing, QNetworkInformation for reachability, the store in the application's data folder.
// The library waits for the reader's consent: a bar asks on first launch (Agree / Refuse), and
// nothing is stored or sent before the answer.
//
//   zelvo-collector --ca-out /tmp/ca.pem --port 8443 &
//   zelvo-qt-reader https://127.0.0.1:8443 /tmp/ca.pem
//
// Without arguments it pings the library's own hosts. It ends when the window is closed and
// prints how far the article was scrolled. With ZELVO_SCREENSHOT=FILE.png it saves the window
// as a PNG once it is drawn. With ZELVO_DRIVE=1 a person's input is read from standard input
// and played through Qt's event queue (drive.h): a headless run with QT_QPA_PLATFORM=offscreen.
#include <QApplication>
#include <QLabel>
#include <QLineEdit>
#include <QPushButton>
#include <QScrollArea>
#include <QScrollBar>
#include <QTabWidget>
#include <QTextEdit>
#include <QTimer>
#include <QVBoxLayout>
#include <cstdio>
#include <utility>

#include "drive.h"
#include "zelvo/qt/qt_integration.h"
#include "zelvo/zv_tracker.h"

namespace {

struct Reader {
  QWidget* window = nullptr;
  QScrollArea* article = nullptr;
  QLineEdit* reply = nullptr;
  QTextEdit* comments = nullptr;
  std::shared_ptr<zelvo::View> articleView, commentsView;
  int scrolledTo = 0;
};

const char* const kSections[][2] = {
    {"The vote", "The council met on Tuesday evening to settle the route of the new tram line. "},
    {"The route", "From the station the line follows the river, crosses the old bridge and climbs to the hospital. "},
    {"The money", "Two thirds of the cost come from the region; the rest from a bond the city will issue. "},
    {"What comes next", "Building starts next spring; the first trams run in three years, if the courts allow. "},
};

QLabel* label(const QString& text, const char* style = nullptr) {
  auto* label = new QLabel(text);
  label->setWordWrap(true);
  if (style != nullptr) label->setStyleSheet(style);
  return label;
}

QWidget* articlePage(Reader& reader) {
  auto* text = new QWidget;
  auto* column = new QVBoxLayout(text);
  column->setContentsMargins(24, 12, 24, 12);
  column->addWidget(label("Council votes on the new tram line", "font-size: 22pt; font-weight: bold"));
  for (const auto& section : kSections) {
    column->addWidget(label(section[0], "font-size: 14pt; font-weight: bold"));
    QString body;
    for (int i = 1; i <= 40; ++i) body += QString(section[1]) + (i % 10 == 0 ? "\n\n" : "");
    column->addWidget(label(body.trimmed()));
  }
  reader.article = new QScrollArea;
  reader.article->setWidget(text);
  reader.article->setWidgetResizable(true);

  // The reply box: while it has the focus, typing counts as writing.
  reader.reply = new QLineEdit;
  auto* reply = new QHBoxLayout;
  QLabel* replyLabel = label("&Reply:");
  replyLabel->setBuddy(reader.reply);
  reply->addWidget(replyLabel);
  reply->addWidget(reader.reply);
  auto* page = new QWidget;
  auto* layout = new QVBoxLayout(page);
  layout->addWidget(reader.article);
  layout->addLayout(reply);
  return page;
}

// The consent bar: shown while the reader has not answered; the answer is kept by the library.
QWidget* consentBar() {
  auto* bar = new QWidget;
  auto* row = new QHBoxLayout(bar);
  row->addWidget(label("May we measure how this app is read? Nothing is kept or sent until you agree."), 1);
  auto answer = [bar, row](const char* text, auto record) {
    auto* button = new QPushButton(text);
    QObject::connect(button, &QPushButton::clicked, bar, [bar, record] {
      record(*zelvo::ZVTracker::sharedTracker());
      bar->hide();
    });
    row->addWidget(button);
  };
  answer("&Agree", [](zelvo::ZVTracker& tracker) { tracker.giveConsent(); });
  answer("Re&fuse", [](zelvo::ZVTracker& tracker) { tracker.revokeConsent(false); });
  bar->setVisible(zelvo::ZVTracker::sharedTracker()->consentState() == zelvo::ConsentState::kUnknown);
  return bar;
}

void onPageChanged(Reader& reader, int page) {
  auto tracker = zelvo::ZVTracker::sharedTracker();
  if (page == 1) {
    tracker->trackView(reader.commentsView, std::string("/news/tram-line-vote/comments"), std::string("Comments"));
  } else {
    tracker->trackView(reader.articleView, std::string("/news/tram-line-vote"), std::string("The tram line vote"));
  }
}

// Ends the session: the window goes first, and the loop runs on a moment so that a heartbeat
// meets the view whose widget is gone and a ping in flight can finish.
void endSession(Reader& reader) {
  if (reader.window == nullptr) return;
  reader.scrolledTo = reader.article->verticalScrollBar()->value();
  delete std::exchange(reader.window, nullptr);  // closing the window comes back here
  QTimer::singleShot(1500, qApp, &QCoreApplication::quit);
}

}  // namespace

int main(int argc, char** argv) {
  QApplication app(argc, argv);
  app.setQuitOnLastWindowClosed(false);
  Reader reader;

  zelvo::qt::IntegrationOptions options;
  options.platform.applicationIdentifier = "com.example.qtreader";
  options.platform.consentRequired = true;
  if (argc == 3) {
    options.platform.endpoint = argv[1];
    options.platform.caFile = argv[2];
  }
  zelvo::qt::Integration zelvo(options);
  zelvo::installPlatform(zelvo.platform());

  reader.window = new QWidget;
  reader.window->setWindowTitle("Zelvo reader");
  reader.window->resize(720, 640);
  auto* pages = new QTabWidget;
  pages->addTab(articlePage(reader), "Article");
  reader.comments = new QTextEdit;
  pages->addTab(reader.comments, "Comments");
  auto* column = new QVBoxLayout(reader.window);
  column->addWidget(consentBar());
  column->addWidget(pages);
  QObject::connect(&app, &QGuiApplication::lastWindowClosed, [&reader] { endSession(reader); });

  reader.articleView = std::make_shared<zelvo::qt::ScrollAreaView>(reader.article);
  reader.commentsView = std::make_shared<zelvo::qt::ScrollAreaView>(reader.comments);
  auto tracker = zelvo::ZVTracker::sharedTracker();
  tracker->startTrackerWithAccountID(1001, std::string("com.example.qtreader"));
  tracker->setSections(std::vector<std::string>{"News", "Transport"});
  QObject::connect(pages, &QTabWidget::currentChanged, [&reader](int page) { onPageChanged(reader, page); });
  onPageChanged(reader, 0);
  reader.window->show();
  reader.article->setFocus();  // Page Down pages through the article from the start

  if (qEnvironmentVariableIsSet("ZELVO_SCREENSHOT")) {
    QTimer::singleShot(800, [&reader] { reader.window->grab().save(qEnvironmentVariable("ZELVO_SCREENSHOT")); });
  }
  startDrive(reader.window, reader.article, [&reader] { endSession(reader); });
  const int status = app.exec();
  tracker->stopTracker();
  std::printf("article scrolled to %d\n", reader.scrolledTo);  // whole points, as pinged
  return status;
}
