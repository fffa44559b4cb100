#include "qt/qt_views.h"

#include "kernel/state.h"

#include <QApplication>
#include <QCloseEvent>
#include <QFontMetrics>
#include <QFrame>
#include <QHBoxLayout>
#include <QKeyEvent>
#include <QLabel>
#include <QLinearGradient>
#include <QPainter>
#include <QPlainTextEdit>
#include <QProgressBar>
#include <QPushButton>
#include <QRegularExpression>
#include <QVBoxLayout>

namespace td {
namespace {

QString Q(const std::string& text) {
    return QString::fromStdString(text);
}

QColor Colour_Of(Screen_Colour c) {
    return QColor(c.red, c.green, c.blue);
}

// The pictures of the splash and the About box: a drawn emblem, since no image file comes with
// the program.
QPixmap Emblem(int width, int height) {
    QPixmap picture(width, height);
    QPainter painter(&picture);
    painter.setRenderHint(QPainter::Antialiasing);
    QLinearGradient sky(0, 0, 0, height);
    sky.setColorAt(0, QColor(18, 64, 110));
    sky.setColorAt(1, QColor(60, 130, 180));
    painter.fillRect(picture.rect(), sky);
    // A coupon: a pale card with a perforated edge and a number.
    QRectF card(width * 0.12, height * 0.22, width * 0.76, height * 0.56);
    painter.setBrush(QColor(250, 244, 220));
    painter.setPen(QPen(QColor(120, 90, 30), 2));
    painter.drawRoundedRect(card, 8, 8);
    painter.setPen(QPen(QColor(120, 90, 30), 2, Qt::DotLine));
    qreal stub = card.left() + card.width() * 0.28;
    painter.drawLine(QPointF(stub, card.top() + 6), QPointF(stub, card.bottom() - 6));
    QFont font = painter.font();
    font.setBold(true);
    // The grade mark fits its stub, however small the picture.
    const QString grade = QStringLiteral("ГСМ");
    const qreal room = stub - card.left() - 8;
    int size = static_cast<int>(height * 0.13);
    for (font.setPixelSize(size); size > 6 && QFontMetrics(font).horizontalAdvance(grade) > room;
         font.setPixelSize(--size)) {
    }
    painter.setFont(font);
    painter.setPen(QColor(160, 40, 30));
    painter.drawText(QRectF(card.left(), card.top(), stub - card.left(), card.height()),
                     Qt::AlignCenter, grade);
    font.setPixelSize(static_cast<int>(height * 0.11));
    painter.setFont(font);
    painter.setPen(QColor(40, 40, 40));
    painter.drawText(QRectF(stub, card.top(), card.right() - stub, card.height()), Qt::AlignCenter,
                     QStringLiteral("№ 000001\n20 л"));
    return picture;
}

} // namespace

int Key_Code_Of(const QKeyEvent* event) {
    int key = event->key();
    if (key >= Qt::Key_A && key <= Qt::Key_Z)
        return 'A' + (key - Qt::Key_A);
    if (key >= Qt::Key_0 && key <= Qt::Key_9)
        return '0' + (key - Qt::Key_0);
    if (key >= Qt::Key_F1 && key <= Qt::Key_F24)
        return 112 + (key - Qt::Key_F1);
    if (key == Qt::Key_Escape)
        return 27;
    if (key == Qt::Key_Return || key == Qt::Key_Enter)
        return 13;
    return 0;
}

int Shift_Mask_Of(const QKeyEvent* event) {
    Qt::KeyboardModifiers modifiers = event->modifiers();
    int mask = 0;
    if (modifiers & Qt::ShiftModifier)
        mask |= 1;
    if (modifiers & Qt::ControlModifier)
        mask |= 2;
    if (modifiers & Qt::AltModifier)
        mask |= 4;
    return mask;
}

// ---------------------------------------------------------------------------------------------

Qt_Splash::Qt_Splash(QWidget* parent)
    : QDialog(parent, Qt::SplashScreen | Qt::FramelessWindowHint) {
    setObjectName("frmSplash");
    model_.Form_Load();

    auto* frame = new QFrame(this);
    frame->setFrameShape(QFrame::Box);
    frame->setLineWidth(2);
    auto* outer = new QVBoxLayout(this);
    outer->setContentsMargins(0, 0, 0, 0);
    outer->addWidget(frame);

    auto* picture = new QLabel(frame);
    picture->setPixmap(Emblem(440, 180));
    auto* starting = new QLabel(frmSplash::Starting_Text, frame);
    starting->setObjectName("lblStarting");
    QFont big = starting->font();
    big.setPointSize(big.pointSize() + 4);
    big.setBold(true);
    starting->setFont(big);
    caption_ = new QLabel(frame);
    caption_->setObjectName("lblCaption");
    bar_ = new QProgressBar(frame);
    bar_->setRange(0, 100);
    bar_->setTextVisible(false);
    auto* core = new QLabel(frmSplash::Core_Line, frame);
    core->setObjectName("lblCore");
    version_ = new QLabel(Q(model_.Version_Label()), frame);
    version_->setObjectName("lblVersion");

    auto* layout = new QVBoxLayout(frame);
    layout->setContentsMargins(16, 16, 16, 16);
    layout->addWidget(picture, 0, Qt::AlignHCenter);
    layout->addWidget(starting);
    layout->addWidget(caption_);
    layout->addWidget(bar_);
    auto* bottom = new QHBoxLayout;
    bottom->addWidget(core);
    bottom->addStretch();
    bottom->addWidget(version_);
    layout->addLayout(bottom);

    timer_.setSingleShot(true);
    connect(&timer_, &QTimer::timeout, this, [this] {
        model_.Timer1_Timer();
        Close_If_Done();
    });
    Update_From_Model();
}

void Qt_Splash::Update_From_Model() {
    caption_->setText(Q(model_.Caption()));
    bar_->setValue(model_.Progress());
}

void Qt_Splash::Modal_Wait(bool wait) {
    hide();
    model_.Loading_Complete();
    Update_From_Model();
    if (!wait) {
        model_.Timer1_Timer();
        return;
    }
    timer_.start(frmSplash::Timer_Interval);
    exec();
}

void Qt_Splash::keyPressEvent(QKeyEvent*) {
    model_.Form_KeyPress();
    Close_If_Done();
}

void Qt_Splash::mousePressEvent(QMouseEvent*) {
    model_.Form_MouseDown();
    Close_If_Done();
}

void Qt_Splash::Close_If_Done() {
    if (model_.Closed()) {
        timer_.stop();
        accept();
    }
}

// ---------------------------------------------------------------------------------------------

Qt_Search_Progress::Qt_Search_Progress(QWidget* parent)
    : QDialog(parent, Qt::Dialog | Qt::CustomizeWindowHint | Qt::WindowTitleHint) {
    setObjectName("Search_Progress");
    setModal(false);
    setWindowTitle(QStringLiteral("Tally depot"));
    label_ = new QLabel(this);
    bar_ = new QProgressBar(this);
    bar_->setRange(0, 100);
    auto* layout = new QVBoxLayout(this);
    layout->addWidget(label_);
    layout->addWidget(bar_);
    setMinimumWidth(380);
}

void Qt_Search_Progress::Set_Label(const QString& text) {
    label_->setText(text);
    label_->setVisible(!text.isEmpty());
}

void Qt_Search_Progress::Set_Value(int value) {
    bar_->setValue(std::clamp(value, 0, 100));
}
int Qt_Search_Progress::Value() const {
    return bar_->value();
}
QString Qt_Search_Progress::Label() const {
    return label_->text();
}

// ---------------------------------------------------------------------------------------------

Qt_Errorscreen::Qt_Errorscreen(Errorscreen& model, QWidget* parent)
    : QDialog(parent), model_(model) {
    setObjectName("Errorscreen");
    setWindowTitle(Errorscreen::Title);
    setModal(true);
    QPalette palette = this->palette();
    palette.setColor(QPalette::Window, Colour_Of(Errorscreen::Background));
    setPalette(palette);
    setAutoFillBackground(true);

    const Screen_Colour colours[3] = {Errorscreen::Label1_Colour, Errorscreen::Label2_Colour,
                                      Errorscreen::Label3_Colour};
    auto* layout = new QVBoxLayout(this);
    layout->setContentsMargins(24, 20, 24, 20);
    layout->setSpacing(14);
    for (int i = 0; i < 3; ++i) {
        labels_[i] = new QLabel(this);
        labels_[i]->setObjectName(QStringLiteral("Label%1").arg(i + 1));
        labels_[i]->setWordWrap(true);
        labels_[i]->setTextFormat(Qt::PlainText);
        QPalette p = labels_[i]->palette();
        p.setColor(QPalette::Window, Colour_Of(Errorscreen::Background));
        p.setColor(QPalette::WindowText, Colour_Of(colours[i]));
        labels_[i]->setPalette(p);
        labels_[i]->setAutoFillBackground(true);
        layout->addWidget(labels_[i]);
    }
    QFont font1 = labels_[0]->font();
    font1.setPointSize(Errorscreen::Label1_Size);
    font1.setBold(true);
    labels_[0]->setFont(font1);
    QFont font2 = labels_[1]->font();
    font2.setPointSize(Errorscreen::Label2_Size);
    labels_[1]->setFont(font2);
    layout->addStretch();
    setMinimumSize(520, 240);

    timer1_.setSingleShot(true);
    timer2_.setInterval(Errorscreen::Timer2_Interval);
    connect(&timer1_, &QTimer::timeout, this, [this] { model_.Timer1_Timer(); });
    connect(&timer2_, &QTimer::timeout, this, [this] { model_.Timer2_Timer(); });

    model_.On_Repaint = [this] {
        Update_Labels();
        for (QLabel* label : labels_)
            label->repaint();
    };
    model_.On_Timers = [this] { Apply_Timers(); };
    model_.On_Unload = [this] { close(); };
    model_.Form_Load();
    Update_Labels();
}

Qt_Errorscreen::~Qt_Errorscreen() {
    model_.On_Repaint = nullptr;
    model_.On_Timers = nullptr;
    model_.On_Unload = nullptr;
}

QString Qt_Errorscreen::Label_Text(int label) const {
    return labels_[label - 1]->text();
}

void Qt_Errorscreen::Update_Labels() {
    labels_[0]->setText(Q(model_.Label1()));
    labels_[1]->setText(Q(model_.Label2()));
    labels_[2]->setText(Q(model_.Label3()));
}

void Qt_Errorscreen::Apply_Timers() {
    timer1_.stop();
    timer2_.stop();
    if (!model_.Timer1_Enabled())
        return;
    if (model_.Timer1_Interval() > 0)
        timer1_.start(model_.Timer1_Interval());
    timer2_.start();
}

void Qt_Errorscreen::keyReleaseEvent(QKeyEvent* event) {
    if (event->isAutoRepeat())
        return;
    model_.Form_KeyUp(Key_Code_Of(event), Shift_Mask_Of(event));
}

void Qt_Errorscreen::closeEvent(QCloseEvent* event) {
    // Closed by the user without a resume: the process ends, as at the end of the countdown.
    // After the resume the caller goes on.
    model_.Form_Unload();
    timer1_.stop();
    timer2_.stop();
    event->accept();
    QDialog::done(QDialog::Accepted);
}

// Escape does nothing: the screen has no button it would press, and waits for its countdown, a
// close or the resume.
void Qt_Errorscreen::reject() {}

// ---------------------------------------------------------------------------------------------

Qt_About::Qt_About(const Program_State& state, Shell_Views& views, QWidget* parent)
    : QDialog(parent), model_(state, views) {
    setObjectName("frmAbout");
    model_.Form_Load();
    setWindowTitle(frmAbout::Caption);

    auto* picture = new QLabel(this);
    picture->setPixmap(Emblem(120, 90));
    auto* title = new QLabel(frmAbout::Title, this);
    title->setObjectName("lblTitle");
    QFont big = title->font();
    big.setPointSize(big.pointSize() + 6);
    big.setBold(true);
    title->setFont(big);
    auto* version = new QLabel(Q(model_.Version_Label()), this);
    version->setObjectName("lblVersion");
    auto* description = new QLabel(QStringLiteral("Система учета талонов ГСМ.\n"
                                                  "Продажа и списание талонов, остатки по "
                                                  "покупателям и заправкам, отчёты."),
                                   this);
    description->setWordWrap(true);
    auto* licensed = new QLabel(QStringLiteral("Программа зарегистрирована на:"), this);
    auto* user = new QLabel(Q(model_.User_Label()), this);
    user->setObjectName("lblUser");
    auto* company = new QLabel(Q(model_.Company_Label()), this);
    company->setObjectName("lblCompany");
    auto* line = new QFrame(this);
    line->setFrameShape(QFrame::HLine);
    auto* ok = new QPushButton(QStringLiteral("OK"), this);
    ok->setObjectName("cmdOK");
    ok->setDefault(true);
    connect(ok, &QPushButton::clicked, this, &QDialog::accept);

    auto* text = new QVBoxLayout;
    text->addWidget(title);
    text->addWidget(version);
    text->addSpacing(8);
    text->addWidget(description);
    text->addSpacing(8);
    text->addWidget(licensed);
    text->addWidget(user);
    text->addWidget(company);
    auto* top = new QHBoxLayout;
    top->addWidget(picture, 0, Qt::AlignTop);
    top->addSpacing(12);
    top->addLayout(text, 1);
    auto* buttons = new QHBoxLayout;
    buttons->addStretch();
    buttons->addWidget(ok);
    auto* layout = new QVBoxLayout(this);
    layout->addLayout(top);
    layout->addWidget(line);
    layout->addLayout(buttons);
    setMinimumWidth(460);
}

void Qt_About::keyReleaseEvent(QKeyEvent* event) {
    if (!event->isAutoRepeat())
        model_.Form_KeyUp(Key_Code_Of(event), Shift_Mask_Of(event));
    QDialog::keyReleaseEvent(event);
}

// ---------------------------------------------------------------------------------------------

Qt_Eggs::Qt_Eggs(const Program_State& state, Ui& ui, Shell_Views& views, QWidget* parent)
    : QDialog(parent), model_(state, ui, views) {
    setObjectName("Eggs");
    setWindowTitle(QStringLiteral("Tally depot"));
    // The figures "10 000" and "150 000" stay on one line: their group spaces don't break.
    QString note = QString::fromUtf8(Eggs::Text);
    note.replace(QRegularExpression(QStringLiteral("(\\d) (\\d{3})")),
                 QStringLiteral("\\1\u00A0\\2"));
    auto* text = new QPlainTextEdit(note, this);
    text->setObjectName("Text1");
    text->setReadOnly(true);
    auto* exit = new QPushButton(Eggs::Command1_Caption, this);
    exit->setObjectName("Command1");
    auto* next = new QPushButton(Eggs::Command2_Caption, this);
    next->setObjectName("Command2");
    next->setEnabled(model_.Command2_Enabled());
    auto* launch = new QPushButton(Eggs::Command3_Caption, this);
    launch->setObjectName("Command3");
    connect(exit, &QPushButton::clicked, this, &QDialog::accept);
    connect(launch, &QPushButton::clicked, this, [this] { model_.Command3_Click(); });
    // Eggs goes first, then the editor opens.
    connect(next, &QPushButton::clicked, this, [this] {
        accept();
        model_.Command2_Click();
    });

    auto* buttons = new QHBoxLayout;
    buttons->addWidget(launch);
    buttons->addStretch();
    buttons->addWidget(next);
    buttons->addWidget(exit);
    auto* layout = new QVBoxLayout(this);
    layout->addWidget(text);
    layout->addLayout(buttons);
    resize(480, 260);
}

} // namespace td
