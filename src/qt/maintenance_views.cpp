#include "qt/maintenance_views.h"

#include "base/ports.h"
#include "maintenance/delete_records.h"
#include "maintenance/maintenance_views.h"
#include "maintenance/raw_db_edit.h"
#include "maintenance/wisard.h"
#include "qt/qt_mdi_form.h"

#include <QCheckBox>
#include <QComboBox>
#include <QDialog>
#include <QEvent>
#include <QFileDialog>
#include <QGridLayout>
#include <QGroupBox>
#include <QHBoxLayout>
#include <QKeyEvent>
#include <QLabel>
#include <QLineEdit>
#include <QPlainTextEdit>
#include <QProgressBar>
#include <QPushButton>
#include <QRadioButton>
#include <QStackedLayout>
#include <QVBoxLayout>

namespace td {

namespace {

QString Q(const std::string& text) {
    return QString::fromStdString(text);
}

// What the maintenance screens ask of the main window.
class Window_Maintenance_Views : public Maintenance_Views {
public:
    Window_Maintenance_Views(Qt_MDI_Form& window, Ui& ui) : window_(window), ui_(ui) {}
    bool Save_Dialog(const std::string& folder, const std::string& file_name,
                     std::string& chosen) override {
        QString path = QFileDialog::getSaveFileName(QApplication_Active(), QString(),
                                                    Q(folder + "/" + file_name));
        if (path.isEmpty())
            return false;
        chosen = path.toStdString();
        return true;
    }
    // Nothing that shows ticket data may stay open: every child goes.
    void Close_Forms(const std::vector<std::string>&) override { ui_.Close_All_Children(); }
    void Show_Calendar_Single() override {
        window_.Model().Menu_Click("mnu_Services_Current_date");
    }

private:
    static QWidget* QApplication_Active() { return nullptr; }
    Qt_MDI_Form& window_;
    Ui& ui_;
};

QPushButton* Button(const char* caption, const char* name, QWidget* parent) {
    auto* button = new QPushButton(QString::fromUtf8(caption), parent);
    button->setObjectName(name);
    button->setAutoDefault(false);
    return button;
}

// ---- Wisard -------------------------------------------------------------------------------

class Wisard_Dialog : public QDialog {
public:
    Wisard_Dialog(Qt_MDI_Form& window, Program_State& state, Ui& ui, Clock& clock,
                  User_Settings& settings)
        : QDialog(&window), views_(window, ui), model_(state, ui, clock, settings, views_) {
        setObjectName("Wisard");
        setWindowTitle(Q(Wisard::Caption));
        auto* pages = new QStackedLayout;

        auto* frame1 = new QGroupBox(Q(Wisard::Frame1_Caption), this);
        frame1->setObjectName("Frame1");
        auto* f1 = new QVBoxLayout(frame1);
        const char* captions[] = {Wisard::Option1_Caption, Wisard::Option2_Caption,
                                  Wisard::Option3_Caption};
        for (int i = 0; i < 3; ++i) {
            options_[i] = new QRadioButton(Q(captions[i]), frame1);
            options_[i]->setObjectName(QString("Option%1").arg(i + 1));
            f1->addWidget(options_[i]);
            connect(options_[i], &QRadioButton::clicked, this, [this, i] {
                if (i == 0)
                    model_.Option1_Click();
                if (i == 1)
                    model_.Option2_Click();
                if (i == 2)
                    model_.Option3_Click();
                Refresh();
            });
        }
        f1->addStretch();
        pages->addWidget(frame1);

        auto* frame2 = new QGroupBox(Q(Wisard::Frame2_Caption), this);
        frame2->setObjectName("Frame2");
        auto* f2 = new QVBoxLayout(frame2);
        f2->addWidget(new QLabel(Q(Wisard::Path_Label), frame2));
        auto* row = new QHBoxLayout;
        path_ = new QLineEdit(frame2);
        path_->setObjectName("BkR_Path");
        auto* browse = Button(Wisard::Browse_Caption, "Command3", frame2);
        row->addWidget(path_);
        row->addWidget(browse);
        f2->addLayout(row);
        f2->addStretch();
        connect(path_, &QLineEdit::textEdited, this, [this](const QString& text) {
            model_.BkR_Path_Change(text.toStdString());
            Refresh();
        });
        connect(browse, &QPushButton::clicked, this, [this] {
            model_.Command3_Click();
            Refresh();
        });
        pages->addWidget(frame2);

        auto* frame3 = new QGroupBox(Q(Wisard::Frame3_Caption), this);
        frame3->setObjectName("Frame3");
        auto* f3 = new QVBoxLayout(frame3);
        complete_ = new QLabel(frame3);
        complete_->setObjectName("lblcomplete");
        complete_->setWordWrap(true);
        f3->addWidget(complete_);
        f3->addStretch();
        pages->addWidget(frame3);

        auto* error = new QPlainTextEdit(Q(Wisard::Frame_Err_Text), this);
        error->setObjectName("Frame_Err");
        error->setReadOnly(true);
        pages->addWidget(error);
        pages_ = pages;

        back_ = Button(Wisard::CancelButton_Caption, "CancelButton", this);
        forward_ = Button(Wisard::OKButton_Caption, "OKButton", this);
        finish_ = Button(Wisard::Command1_Caption, "Command1", this);
        auto* cancel = Button(Wisard::Command2_Caption, "Command2", this);
        connect(back_, &QPushButton::clicked, this, [this] {
            model_.CancelButton_Click();
            Refresh();
        });
        connect(forward_, &QPushButton::clicked, this, [this] {
            model_.OKButton_Click();
            Refresh();
        });
        connect(finish_, &QPushButton::clicked, this, [this] {
            // The rebuild after a restore lets events through: nothing here may be pressed again.
            setEnabled(false);
            model_.Command1_Click();
            setEnabled(true);
            Refresh();
        });
        connect(cancel, &QPushButton::clicked, this, [this] {
            model_.Command2_Click();
            Refresh();
        });
        auto* buttons = new QHBoxLayout;
        buttons->addStretch();
        buttons->addWidget(back_);
        buttons->addWidget(forward_);
        buttons->addWidget(finish_);
        buttons->addWidget(cancel);
        auto* layout = new QVBoxLayout(this);
        layout->addLayout(pages);
        layout->addLayout(buttons);
        resize(520, 260);

        model_.Form_Load();
        Refresh();
    }

    void reject() override {
        model_.Command2_Click(); // the frame's close stores the folder as "Отмена" does
        QDialog::reject();
    }

private:
    void Refresh() {
        if (model_.Closed()) {
            accept();
            return;
        }
        const int frame = model_.Frame_Shown();
        pages_->setCurrentIndex(frame == 0 ? 3 : frame - 1);
        options_[model_.Option_Selected() - 1]->setChecked(true);
        if (path_->text().toStdString() != model_.BkR_Path())
            path_->setText(Q(model_.BkR_Path()));
        complete_->setText(Q(model_.lblcomplete()));
        back_->setEnabled(model_.CancelButton_Enabled());
        forward_->setEnabled(model_.OKButton_Enabled());
        finish_->setEnabled(model_.Command1_Enabled());
    }

    Window_Maintenance_Views views_;
    Wisard model_;
    QStackedLayout* pages_;
    QRadioButton* options_[3];
    QLineEdit* path_;
    QLabel* complete_;
    QPushButton* back_;
    QPushButton* forward_;
    QPushButton* finish_;
};

// ---- Delete_records -----------------------------------------------------------------------

class Delete_Dialog : public QDialog {
public:
    Delete_Dialog(Qt_MDI_Form& window, Program_State& state, Ui& ui, Clock& clock)
        : QDialog(&window), views_(window, ui), model_(state, ui, clock, views_) {
        setObjectName("Delete_records");
        setWindowTitle(Q(Delete_records::Caption));
        auto* frame = new QGroupBox(Q(Delete_records::Frame_Caption), this);
        auto* f = new QGridLayout(frame);
        const char* captions[] = {Delete_records::Option1_Caption, "",
                                  Delete_records::Option3_Caption, Delete_records::Option4_Caption};
        for (int i = 0; i < 4; ++i) {
            options_[i] = new QRadioButton(Q(captions[i]), frame);
            options_[i]->setObjectName(QString("Option%1").arg(i + 1));
            f->addWidget(options_[i], i, 0, 1, 4);
            connect(options_[i], &QRadioButton::clicked, this, [this, i] {
                if (i == 0)
                    model_.Option1_Click();
                if (i == 1)
                    model_.Option2_Click();
                if (i == 2)
                    model_.Option3_Click();
                if (i == 3)
                    model_.Option4_Click();
                Refresh();
            });
        }
        options_[1]->installEventFilter(this);
        combo1_ = new QComboBox(frame);
        combo1_->setObjectName("Combo1");
        combo2_ = new QComboBox(frame);
        combo2_->setObjectName("Combo2");
        text1_ = new QLineEdit(frame);
        text1_->setObjectName("Text1");
        text2_ = new QLineEdit(frame);
        text2_->setObjectName("Text2");
        f->addWidget(new QLabel(Q(Delete_records::Combo1_Label), frame), 4, 0);
        f->addWidget(combo1_, 4, 1);
        f->addWidget(new QLabel(Q(Delete_records::Combo2_Label), frame), 4, 2);
        f->addWidget(combo2_, 4, 3);
        f->addWidget(new QLabel(Q(Delete_records::Text1_Label), frame), 5, 0);
        f->addWidget(text1_, 5, 1);
        f->addWidget(new QLabel(Q(Delete_records::Text2_Label), frame), 5, 2);
        f->addWidget(text2_, 5, 3);

        auto* progress_frame = new QGroupBox(Q(Delete_records::Progress_Frame_Caption), this);
        auto* p = new QVBoxLayout(progress_frame);
        bar_ = new QProgressBar(progress_frame);
        bar_->setObjectName("ProgressBar1");
        bar_->setRange(0, 100);
        p->addWidget(bar_);

        auto* remove = Button(Delete_records::Command1_Caption, "Command1", this);
        auto* cancel = Button(Delete_records::Command2_Caption, "Command2", this);
        connect(remove, &QPushButton::clicked, this, [this] {
            Take_Fields();
            // The pass lets events through for its bar: nothing here may be pressed again.
            setEnabled(false);
            model_.Command1_Click();
            setEnabled(true);
            Refresh();
        });
        connect(cancel, &QPushButton::clicked, this, [this] {
            model_.Command2_Click();
            Refresh();
        });
        auto* buttons = new QHBoxLayout;
        buttons->addStretch();
        buttons->addWidget(remove);
        buttons->addWidget(cancel);
        auto* layout = new QVBoxLayout(this);
        layout->addWidget(frame);
        layout->addWidget(progress_frame);
        layout->addLayout(buttons);

        model_.On_Progress = [this] {
            bar_->setValue(model_.Progress());
            bar_->repaint();
        };
        model_.Form_Load();
        for (int i = 0; i < model_.Combo1.Count(); ++i)
            combo1_->addItem(Q(model_.Combo1.Item(i)));
        for (int i = 0; i < model_.Combo2.Count(); ++i)
            combo2_->addItem(Q(model_.Combo2.Item(i)));
        combo1_->setCurrentIndex(model_.Combo1.List_Index());
        combo2_->setCurrentIndex(model_.Combo2.List_Index());
        Refresh();
    }

protected:
    bool eventFilter(QObject* watched, QEvent* event) override {
        if (watched == options_[1] && event->type() == QEvent::MouseButtonDblClick) {
            model_.Option2_DblClick();
            Refresh();
            return true;
        }
        return QDialog::eventFilter(watched, event);
    }

private:
    void Take_Fields() {
        model_.Combo1.Set_List_Index(combo1_->currentIndex());
        model_.Combo2.Set_List_Index(combo2_->currentIndex());
        model_.Text1 = text1_->text().toStdString();
        model_.Text2 = text2_->text().toStdString();
    }
    void Refresh() {
        if (model_.Closed()) {
            accept();
            return;
        }
        options_[1]->setText(Q(model_.Option2_Caption()));
        options_[model_.Option_Selected() - 1]->setChecked(true);
        for (QWidget* field : {static_cast<QWidget*>(combo1_), static_cast<QWidget*>(combo2_),
                               static_cast<QWidget*>(text1_), static_cast<QWidget*>(text2_)})
            field->setEnabled(model_.Fields_Enabled());
        bar_->setValue(model_.Progress());
    }

    Window_Maintenance_Views views_;
    Delete_records model_;
    QRadioButton* options_[4];
    QComboBox* combo1_;
    QComboBox* combo2_;
    QLineEdit* text1_;
    QLineEdit* text2_;
    QProgressBar* bar_;
};

// ---- Raw_DB_Edit ----------------------------------------------------------------------------

class Raw_Edit_Dialog : public QDialog {
public:
    Raw_Edit_Dialog(Qt_MDI_Form& window, Program_State& state, Ui& ui, Clock& clock)
        : QDialog(&window), model_(state, ui, clock) {
        setObjectName("Raw_DB_Edit");
        setWindowTitle(Q(Raw_DB_Edit::Caption));
        auto* record = new QGroupBox(Q(Raw_DB_Edit::Record_Frame), this);
        auto* grid = new QGridLayout(record);
        auto line = [this](const char* name) {
            auto* edit = new QLineEdit(this);
            edit->setObjectName(name);
            return edit;
        };
        auto check = [this](const char* caption, const char* name) {
            auto* box = new QCheckBox(caption, this);
            box->setObjectName(name);
            return box;
        };
        text1_ = line("Text1");
        text2_ = line("Text2");
        text2_->installEventFilter(this);
        grid->addWidget(text1_, 0, 0);
        grid->addWidget(text2_, 0, 1);
        check1_ = check("Used", "Check1");
        check2_ = check("Deleted", "Check2");
        check5_ = check("Multiuse", "Check5");
        grid->addWidget(check1_, 1, 0);
        grid->addWidget(check2_, 1, 1);
        grid->addWidget(check5_, 1, 2);
        struct Field {
            const char* caption;
            const char* name;
            QLineEdit** edit;
        };
        const Field fields[] = {{"Fuel: ", "Text3", &text3_},
                                {"Volume: ", "Text4", &text4_},
                                {"Real volume: ", "Text5", &text5_},
                                {"Company: ", "Text10", &text10_},
                                {"Establ: ", "Text11", &text11_}};
        int row = 2;
        for (const Field& field : fields) {
            *field.edit = line(field.name);
            grid->addWidget(new QLabel(field.caption, record), row, 0);
            grid->addWidget(*field.edit, row++, 1, 1, 2);
        }
        check3_ = check("Exist date limitations", "Check3");
        check4_ = check("Enable establishment limitations", "Check4");
        grid->addWidget(check3_, row, 0, 1, 2);
        grid->addWidget(check4_, row++, 2);

        auto* dates = new QGroupBox(Q(Raw_DB_Edit::Dates_Frame), this);
        auto* d = new QGridLayout(dates);
        const Field date_fields[] = {{"Sell date: ", "Text6", &text6_},
                                     {"Validation date: ", "Text7", &text7_},
                                     {"Valid from: ", "Text8", &text8_},
                                     {"Expire date: ", "Text9", &text9_}};
        int drow = 0;
        for (const Field& field : date_fields) {
            *field.edit = line(field.name);
            d->addWidget(new QLabel(field.caption, dates), drow, 0);
            d->addWidget(*field.edit, drow++, 1);
        }
        auto* limits = new QGroupBox(Q(Raw_DB_Edit::Limits_Frame), this);
        auto* l = new QHBoxLayout(limits);
        text12_ = line("Text12");
        l->addWidget(new QLabel("Establishments mask: ", limits));
        l->addWidget(text12_);

        bar_ = new QProgressBar(this);
        bar_->setRange(0, 100);
        bar_->setObjectName("ProgressBar1");

        auto* nav = new QHBoxLayout;
        struct Nav {
            const char* caption;
            const char* name;
            void (Raw_DB_Edit::*action)();
        };
        const Nav navs[] = {{"|<", "Command6", &Raw_DB_Edit::Command6_Click},
                            {"<< Prev", "Command3", &Raw_DB_Edit::Command3_Click},
                            {"Next >>", "Command4", &Raw_DB_Edit::Command4_Click},
                            {">|", "Command5", &Raw_DB_Edit::Command5_Click},
                            {"Update", "Command2", &Raw_DB_Edit::Command2_Click}};
        for (const Nav& n : navs) {
            auto* button = Button(n.caption, n.name, this);
            auto action = n.action;
            connect(button, &QPushButton::clicked, this, [this, action] {
                Take_Fields();
                (model_.*action)();
                Refresh();
            });
            nav->addWidget(button);
        }
        auto* exit = Button("Exit", "Command1", this);
        connect(exit, &QPushButton::clicked, this, [this] { model_.Command1_Click(); });
        nav->addWidget(exit);
        connect(text1_, &QLineEdit::returnPressed, this, [this] {
            Take_Fields();
            model_.Text1_Enter();
            Refresh();
        });
        for (auto [box, handler] : {std::pair{check1_, &Raw_DB_Edit::Check1_Click},
                                    std::pair{check3_, &Raw_DB_Edit::Check3_Click},
                                    std::pair{check4_, &Raw_DB_Edit::Check4_Click}}) {
            auto h = handler;
            connect(box, &QCheckBox::clicked, this, [this, h] {
                Take_Fields();
                (model_.*h)();
                Refresh();
            });
        }

        auto* layout = new QVBoxLayout(this);
        layout->addWidget(record);
        layout->addWidget(dates);
        layout->addWidget(limits);
        layout->addWidget(bar_);
        layout->addLayout(nav);
        model_.On_Change = [this] {
            if (!refreshing_)
                Refresh();
        };
        model_.Form_Load();
        Refresh();
    }

    // The frame's close leaves as Exit does: the run ends.
    void reject() override { model_.Command1_Click(); }

protected:
    bool eventFilter(QObject* watched, QEvent* event) override {
        if (watched == text2_ && event->type() == QEvent::KeyRelease) {
            auto* key = static_cast<QKeyEvent*>(event);
            if (key->key() == Qt::Key_F && (key->modifiers() & Qt::ControlModifier)) {
                Take_Fields();
                setEnabled(false); // the search lets events through for its bar
                model_.Text2_KeyUp('F', true);
                setEnabled(true);
                Refresh();
                return true;
            }
        }
        return QDialog::eventFilter(watched, event);
    }

private:
    void Take_Fields() {
        QLineEdit* const edits[] = {text1_, text2_, text3_, text4_,  text5_,  text6_,
                                    text7_, text8_, text9_, text10_, text11_, text12_};
        std::string* const fields[] = {&model_.Text1,  &model_.Text2,  &model_.Text3,
                                       &model_.Text4,  &model_.Text5,  &model_.Text6,
                                       &model_.Text7,  &model_.Text8,  &model_.Text9,
                                       &model_.Text10, &model_.Text11, &model_.Text12};
        for (std::size_t i = 0; i < 12; ++i)
            *fields[i] = edits[i]->text().toStdString();
        model_.Check1 = check1_->isChecked();
        model_.Check2 = check2_->isChecked();
        model_.Check3 = check3_->isChecked();
        model_.Check4 = check4_->isChecked();
        model_.Check5 = check5_->isChecked();
    }
    void Refresh() {
        refreshing_ = true;
        QLineEdit* const edits[] = {text1_, text2_, text3_, text4_,  text5_,  text6_,
                                    text7_, text8_, text9_, text10_, text11_, text12_};
        const std::string* const fields[] = {&model_.Text1,  &model_.Text2,  &model_.Text3,
                                             &model_.Text4,  &model_.Text5,  &model_.Text6,
                                             &model_.Text7,  &model_.Text8,  &model_.Text9,
                                             &model_.Text10, &model_.Text11, &model_.Text12};
        for (std::size_t i = 0; i < 12; ++i)
            if (edits[i] != nullptr)
                edits[i]->setText(QString::fromStdString(*fields[i]));
        check1_->setChecked(model_.Check1);
        check2_->setChecked(model_.Check2);
        check3_->setChecked(model_.Check3);
        check4_->setChecked(model_.Check4);
        check5_->setChecked(model_.Check5);
        text5_->setEnabled(model_.Text5_Enabled());
        text8_->setEnabled(model_.Text8_Enabled());
        text9_->setEnabled(model_.Text9_Enabled());
        text12_->setEnabled(model_.Text12_Enabled());
        bar_->setVisible(model_.Progress_Visible());
        bar_->setValue(model_.Progress());
        refreshing_ = false;
    }

    Raw_DB_Edit model_;
    QLineEdit *text1_ = nullptr, *text2_ = nullptr, *text3_ = nullptr, *text4_ = nullptr,
              *text5_ = nullptr, *text6_ = nullptr, *text7_ = nullptr, *text8_ = nullptr,
              *text9_ = nullptr, *text10_ = nullptr, *text11_ = nullptr, *text12_ = nullptr;
    QCheckBox *check1_, *check2_, *check3_, *check4_, *check5_;
    QProgressBar* bar_;
    bool refreshing_ = false;
};

} // namespace

void Open_Wisard(Qt_MDI_Form& window, Program_State& state, Ui& ui, Clock& clock,
                 User_Settings& user_settings) {
    Wisard_Dialog dialog(window, state, ui, clock, user_settings);
    dialog.exec();
}

void Open_Delete_Records(Qt_MDI_Form& window, Program_State& state, Ui& ui, Clock& clock) {
    Delete_Dialog dialog(window, state, ui, clock);
    dialog.exec();
}

void Open_Raw_DB_Edit(Qt_MDI_Form& window, Program_State& state, Ui& ui, Clock& clock) {
    Raw_Edit_Dialog dialog(window, state, ui, clock);
    dialog.exec();
}

void Attach_Maintenance_Views(Qt_MDI_Form& window, Program_State& state, Ui& ui, Clock& clock,
                              User_Settings& user_settings) {
    MDI_Form& form = window.Model();
    form.Set_Command("mnu_create_backup", [&window, &state, &ui, &clock, &user_settings] {
        Mnu_Create_Backup();
        Open_Wisard(window, state, ui, clock, user_settings);
    });
    form.Set_Command("mnu_restore_from_backup", [&window, &state, &ui, &clock, &user_settings] {
        if (Mnu_Restore_From_Backup(ui))
            Open_Wisard(window, state, ui, clock, user_settings);
    });
    form.Set_Command("mnu_Services_Tickets_del", [&window, &state, &ui, &clock] {
        ui.Close_All_Children();
        Open_Delete_Records(window, state, ui, clock);
    });
    window.Set_Raw_Editor(
        [&window, &state, &ui, &clock] { Open_Raw_DB_Edit(window, state, ui, clock); });
}

} // namespace td
