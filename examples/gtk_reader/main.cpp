// A GTK 4 reader: a long article in sections with a reply box, and a second page of comments.
// zelvo::gtk does the integration: the library's loop on GTK's main context, the window's
// input as engagement (the wheel, keys, clicks), its activation as the application's, the
// reply box as writing, GNetworkMonitor for reachability, the store in the user's data folder.
// The library waits for the reader's consent: a bar asks on first launch (Agree / Refuse), and
// nothing is stored or sent before the answer.
//
//   zelvo-collector --ca-out /tmp/ca.pem --port 8443 &
//   zelvo-gtk-reader https://127.0.0.1:8443 /tmp/ca.pem
//
// Without arguments it pings the library's own hosts. It ends when the window is closed or on
// SIGTERM, and prints how far the article was scrolled. With ZELVO_SCREENSHOT=FILE.png it
// saves the window as a PNG once it is drawn.
#include <glib-unix.h>
#include <gtk/gtk.h>

#include <cstdio>
#include <cstdlib>
#include <string>

#include "zelvo/gtk/gtk_integration.h"
#include "zelvo/zv_tracker.h"

namespace {

const char* const kSections[][2] = {
    {"The vote", "The council met on Tuesday evening to settle the route of the new tram line. "},
    {"The route", "From the station the line follows the river, crosses the old bridge and climbs to the hospital. "},
    {"The money", "Two thirds of the cost come from the region; the rest from a bond the city will issue. "},
    {"What comes next", "Building starts next spring; the first trams run in three years, if the courts allow. "},
};

struct Reader {
  GMainLoop* loop = nullptr;
  GtkWidget* window = nullptr;
  GtkWidget* article = nullptr;  // the GtkScrolledWindow of the article
  GtkWidget* comments = nullptr;
  std::shared_ptr<zelvo::View> articleView, commentsView;
  double scrolledTo = 0;
};

GtkWidget* articlePage(Reader& reader) {
  GtkWidget* text = gtk_box_new(GTK_ORIENTATION_VERTICAL, 12);
  gtk_widget_set_margin_start(text, 24);
  gtk_widget_set_margin_end(text, 24);
  GtkWidget* title = gtk_label_new("Council votes on the new tram line");
  gtk_widget_add_css_class(title, "title-1");
  gtk_box_append(GTK_BOX(text), title);
  for (const auto& section : kSections) {
    GtkWidget* heading = gtk_label_new(section[0]);
    gtk_widget_add_css_class(heading, "title-3");
    gtk_widget_set_halign(heading, GTK_ALIGN_START);
    gtk_box_append(GTK_BOX(text), heading);
    std::string body;
    for (int i = 1; i <= 40; ++i) body += std::string(section[1]) + (i % 10 == 0 ? "\n\n" : "");
    GtkWidget* paragraph = gtk_label_new(body.c_str());
    gtk_label_set_wrap(GTK_LABEL(paragraph), TRUE);
    gtk_label_set_xalign(GTK_LABEL(paragraph), 0);
    gtk_box_append(GTK_BOX(text), paragraph);
  }
  reader.article = gtk_scrolled_window_new();
  gtk_scrolled_window_set_child(GTK_SCROLLED_WINDOW(reader.article), text);
  gtk_widget_set_vexpand(reader.article, TRUE);

  // The reply box: while it has the focus, key presses count as writing.
  GtkWidget* reply = gtk_box_new(GTK_ORIENTATION_HORIZONTAL, 8);
  GtkWidget* entry = gtk_entry_new();
  GtkWidget* label = gtk_label_new_with_mnemonic("_Reply:");
  gtk_label_set_mnemonic_widget(GTK_LABEL(label), entry);
  gtk_widget_set_hexpand(entry, TRUE);
  gtk_box_append(GTK_BOX(reply), label);
  gtk_box_append(GTK_BOX(reply), entry);
  GtkWidget* page = gtk_box_new(GTK_ORIENTATION_VERTICAL, 8);
  gtk_box_append(GTK_BOX(page), reader.article);
  gtk_box_append(GTK_BOX(page), reply);
  return page;
}

void onPageChanged(GtkStack* stack, GParamSpec*, gpointer data) {
  auto* reader = static_cast<Reader*>(data);
  auto tracker = zelvo::ZVTracker::sharedTracker();
  if (std::string(gtk_stack_get_visible_child_name(stack)) == "comments") {
    tracker->trackView(reader->commentsView, std::string("/news/tram-line-vote/comments"), std::string("Comments"));
  } else {
    tracker->trackView(reader->articleView, std::string("/news/tram-line-vote"), std::string("The tram line vote"));
  }
}

// The consent bar: shown while the reader has not answered; the answer is kept by the library.
GtkWidget* consentBar() {
  GtkWidget* bar = gtk_box_new(GTK_ORIENTATION_HORIZONTAL, 8);
  gtk_widget_set_margin_start(bar, 12);
  gtk_widget_set_margin_end(bar, 12);
  GtkWidget* question = gtk_label_new("May we measure how this app is read? Nothing is kept or sent until you agree.");
  gtk_label_set_wrap(GTK_LABEL(question), TRUE);
  gtk_label_set_xalign(GTK_LABEL(question), 0);
  gtk_widget_set_hexpand(question, TRUE);
  gtk_box_append(GTK_BOX(bar), question);
  auto answer = [bar](const char* label, GCallback clicked) {
    GtkWidget* button = gtk_button_new_with_mnemonic(label);
    g_signal_connect(button, "clicked", clicked, bar);
    gtk_box_append(GTK_BOX(bar), button);
  };
  answer("_Agree", G_CALLBACK(+[](GtkButton*, gpointer bar) {
           zelvo::ZVTracker::sharedTracker()->giveConsent();
           gtk_widget_set_visible(GTK_WIDGET(bar), FALSE);
         }));
  answer("Re_fuse", G_CALLBACK(+[](GtkButton*, gpointer bar) {
           zelvo::ZVTracker::sharedTracker()->revokeConsent(false);
           gtk_widget_set_visible(GTK_WIDGET(bar), FALSE);
         }));
  gtk_widget_set_visible(bar, zelvo::ZVTracker::sharedTracker()->consentState() == zelvo::ConsentState::kUnknown);
  return bar;
}

void saveScreenshot(GtkWidget* window, const char* file) {
  GdkPaintable* paintable = gtk_widget_paintable_new(window);
  GtkSnapshot* snapshot = gtk_snapshot_new();
  const int width = gtk_widget_get_width(window), height = gtk_widget_get_height(window);
  gdk_paintable_snapshot(paintable, snapshot, width, height);
  GskRenderNode* node = gtk_snapshot_free_to_node(snapshot);
  GskRenderer* renderer = gtk_native_get_renderer(GTK_NATIVE(window));
  GdkTexture* texture = gsk_renderer_render_texture(renderer, node, nullptr);
  gdk_texture_save_to_png(texture, file);
  g_object_unref(texture);
  gsk_render_node_unref(node);
  g_object_unref(paintable);
}

// Ends the session: the window goes first, and the loop runs on a moment so that a heartbeat
// meets the view whose widget is gone and a ping in flight can finish.
void endSession(Reader& reader) {
  if (reader.window == nullptr) return;
  reader.scrolledTo = gtk_adjustment_get_value(gtk_scrolled_window_get_vadjustment(GTK_SCROLLED_WINDOW(reader.article)));
  gtk_window_destroy(GTK_WINDOW(reader.window));
  reader.window = nullptr;
  g_timeout_add_once(1500, [](gpointer loop) { g_main_loop_quit(static_cast<GMainLoop*>(loop)); }, reader.loop);
}
gboolean onCloseRequest(GtkWindow*, gpointer reader) { return endSession(*static_cast<Reader*>(reader)), TRUE; }
gboolean onTerminate(gpointer reader) { return endSession(*static_cast<Reader*>(reader)), G_SOURCE_REMOVE; }

}  // namespace

int main(int argc, char** argv) {
  gtk_init();
  Reader reader;
  reader.loop = g_main_loop_new(nullptr, FALSE);

  zelvo::gtk::IntegrationOptions options;
  options.platform.applicationIdentifier = "com.example.gtkreader";
  options.platform.consentRequired = true;
  if (argc == 3) {
    options.platform.endpoint = argv[1];
    options.platform.caFile = argv[2];
  }
  zelvo::gtk::Integration zelvo(options);
  zelvo::installPlatform(zelvo.platform());

  reader.window = gtk_window_new();
  gtk_window_set_title(GTK_WINDOW(reader.window), "Zelvo reader");
  gtk_window_set_default_size(GTK_WINDOW(reader.window), 720, 640);
  GtkWidget* stack = gtk_stack_new();
  gtk_stack_add_titled(GTK_STACK(stack), articlePage(reader), "article", "Article");
  reader.comments = gtk_scrolled_window_new();
  gtk_scrolled_window_set_child(GTK_SCROLLED_WINDOW(reader.comments), gtk_text_view_new());
  gtk_stack_add_titled(GTK_STACK(stack), reader.comments, "comments", "Comments");
  GtkWidget* header = gtk_header_bar_new();
  gtk_header_bar_set_title_widget(GTK_HEADER_BAR(header), gtk_stack_switcher_new());
  gtk_stack_switcher_set_stack(GTK_STACK_SWITCHER(gtk_header_bar_get_title_widget(GTK_HEADER_BAR(header))),
                               GTK_STACK(stack));
  gtk_window_set_titlebar(GTK_WINDOW(reader.window), header);
  GtkWidget* content = gtk_box_new(GTK_ORIENTATION_VERTICAL, 8);
  gtk_box_append(GTK_BOX(content), consentBar());
  gtk_box_append(GTK_BOX(content), stack);
  gtk_window_set_child(GTK_WINDOW(reader.window), content);
  g_signal_connect(reader.window, "close-request", G_CALLBACK(onCloseRequest), &reader);
  g_unix_signal_add(SIGTERM, onTerminate, &reader);
  zelvo.watchWindow(GTK_WINDOW(reader.window));

  reader.articleView = std::make_shared<zelvo::gtk::ScrolledWindowView>(GTK_SCROLLED_WINDOW(reader.article));
  reader.commentsView = std::make_shared<zelvo::gtk::ScrolledWindowView>(GTK_SCROLLED_WINDOW(reader.comments));
  auto tracker = zelvo::ZVTracker::sharedTracker();
  tracker->startTrackerWithAccountID(1001, std::string("com.example.gtkreader"));
  tracker->setSections(std::vector<std::string>{"News", "Transport"});
  g_signal_connect(stack, "notify::visible-child", G_CALLBACK(onPageChanged), &reader);
  onPageChanged(GTK_STACK(stack), nullptr, &reader);
  gtk_window_present(GTK_WINDOW(reader.window));

  if (std::getenv("ZELVO_SCREENSHOT") != nullptr) {
    g_timeout_add_once(800, [](gpointer w) { saveScreenshot(GTK_WIDGET(w), std::getenv("ZELVO_SCREENSHOT")); },
                       reader.window);
  }
  g_main_loop_run(reader.loop);
  tracker->stopTracker();
  std::printf("article scrolled to %d\n", static_cast<int>(reader.scrolledTo));  // whole points, as pinged
  g_main_loop_unref(reader.loop);
  return 0;
}
