// The real desktop program, started and ended on temporary installations through its test hooks
// (TALLY_DEPOT_AUTO_ANSWER, TALLY_DEPOT_AUTO_CLOSE), judged by what it says and leaves on disk.
#include "qt_test_support.h"

#include <QDir>
#include <QProcess>
#include <QSettings>

using td::test::Q;
using td::test::Temp_Folder;

class Program_Test : public QObject {
    Q_OBJECT

    std::unique_ptr<Temp_Folder> home;
    QString config;
    QString runtime;

    QProcessEnvironment Environment(const QString& answers) const {
        QProcessEnvironment env = QProcessEnvironment::systemEnvironment();
        env.insert("TALLY_DEPOT_HOME", QString::fromStdString(home->Path()));
        env.insert("XDG_CONFIG_HOME", config);
        env.insert("XDG_RUNTIME_DIR", runtime);
        env.insert("QT_QPA_PLATFORM", "offscreen");
        env.insert("TALLY_DEPOT_AUTO_ANSWER", answers);
        env.insert("TALLY_DEPOT_AUTO_CLOSE", "100");
        env.remove("TALLY_DEPOT_SCREENSHOT");
        env.remove("TALLY_DEPOT_TOUR");
        return env;
    }

    // One run to its end; its lines on standard error that the hooks wrote.
    QStringList Run(int& exit_code) { return Run_In(Environment("yes"), exit_code); }

    QStringList Run_In(const QProcessEnvironment& environment, int& exit_code) {
        QProcess program;
        program.setProcessEnvironment(environment);
        program.start(TALLYDEPOT_PATH, {});
        if (!program.waitForFinished(60000)) {
            program.kill();
            program.waitForFinished();
            exit_code = -1;
        } else {
            exit_code = program.exitStatus() == QProcess::NormalExit ? program.exitCode() : -2;
        }
        QStringList lines;
        for (const QString& line : QString::fromUtf8(program.readAllStandardError()).split('\n'))
            if (line.startsWith("tallydepot: "))
                lines << line.mid(12);
        return lines;
    }

    QString Stored_Date() {
        QSettings store(config + "/Tally Depot/Tally Depot.ini", QSettings::IniFormat);
        return store.value("Kernel/Date", "<none>").toString();
    }

    void Write_Demo() {
        QProcess tdctl;
        tdctl.start(TDCTL_PATH, {"init", "--demo", "--home", QString::fromStdString(home->Path())});
        QVERIFY(tdctl.waitForFinished(120000));
        QCOMPARE(tdctl.exitCode(), 0);
    }

    QString Data() const { return QString::fromStdString(home->Path() + "/data"); }
    QString Marker() const { return Data() + "/Work.$$$"; }
    static QStringList Number_Index_Files(const QString& folder) {
        return QDir(folder).entryList({"z*.dat", "Z*.DAT"}, QDir::Files);
    }

    static QString Today() {
        QDate today = QDate::currentDate();
        return QString::fromStdString(
            td::Format_Date(td::Date_Serial(today.year(), today.month(), today.day())));
    }

private slots:
    void init() {
        home = std::make_unique<Temp_Folder>();
        config = QString::fromStdString(home->Path() + "/.config");
        runtime = QString::fromStdString(home->Path() + "/.runtime");
        QDir().mkpath(config);
        QDir().mkpath(runtime);
        QFile::setPermissions(runtime, QFileDevice::ReadOwner | QFileDevice::WriteOwner |
                                           QFileDevice::ExeOwner);
    }

    void cleanup() { home.reset(); }

    void demoInstallationCleanExitAndTheWorkingDateComesBack() {
        Write_Demo();
        int code = 0;
        QStringList lines = Run(code);
        QCOMPARE(code, 0);
        QCOMPARE(lines.size(), 2);
        QCOMPARE(lines[0], Q("shown | Система учета талонов ГСМ ООО Топливная компания | Статус. | "
                             "Текущая дата: ") +
                               Today());
        QCOMPARE(lines[1], Q("box 36 Подтверждение выхода из программы | "
                             "Вы уверены, что хотите выйти?"));
        QVERIFY(!QFile::exists(Marker()));
        QVERIFY(Number_Index_Files(Data()).isEmpty());
        QCOMPARE(Stored_Date(), Today());

        // A working date of its own survives the next start and exit.
        {
            QSettings store(config + "/Tally Depot/Tally Depot.ini", QSettings::IniFormat);
            store.setValue("Kernel/Date", "05.03.2026");
        }
        lines = Run(code);
        QCOMPARE(code, 0);
        QVERIFY(lines[0].endsWith(Q("Текущая дата: 05.03.2026")));
        QCOMPARE(Stored_Date(), Q("05.03.2026"));
    }

    void onlySettingsFileThreeWarningsThenAnEmptyWindow() {
        QFile::copy(QString(TD_SOURCE_DIR) + "/data/td.ini",
                    QString::fromStdString(home->File("td.ini")));
        int code = 0;
        QStringList lines = Run(code);
        QCOMPARE(code, 0);
        QCOMPARE(lines.size(), 5);
        QCOMPARE(lines[0], Q("box 0  | Error, no towns defined in database!"));
        QCOMPARE(lines[1], Q("box 0  | Error, no companys defined in database!"));
        QCOMPARE(lines[2], Q("box 0  | Error, no establishments defined in database!"));
        QVERIFY(lines[3].startsWith(Q("shown | Система учета талонов ГСМ ")));
        // The run that created the data folder worked in the program's folder.
        QVERIFY(QFile::exists(QString::fromStdString(home->File("TD.cdb"))));
        QVERIFY(QDir(Data()).exists());
        QVERIFY(!QFile::exists(QString::fromStdString(home->File("Work.$$$"))));
    }

    void noSettingsFileIsFatal() {
        int code = 0;
        QStringList lines = Run(code);
        QCOMPARE(code, 1);
        QCOMPARE(lines.size(), 1);
        QCOMPARE(lines[0], Q("fatal 0x07331056FFAD | Std_Functions\\Get_Var"));
    }

    // A run whose exit is answered No keeps its window and its installation: a second start is
    // refused, also through a symlink with no runtime folder (as from cron or ssh). Killed, it
    // leaves its marker; the next start says so, clears up and is not blocked.
    void aRunningProgramHoldsItsInstallationAndAKilledOneLeavesItsMarker() {
        Write_Demo();
        QProcess first;
        first.setProcessEnvironment(Environment("no"));
        first.start(TALLYDEPOT_PATH, {});
        QVERIFY(first.waitForStarted());
        QByteArray seen;
        QTRY_VERIFY_WITH_TIMEOUT((seen += first.readAllStandardError()).contains("box 36") &&
                                     seen.contains("close refused"),
                                 60000);
        QCOMPARE(first.state(), QProcess::Running);
        QVERIFY(QFile::exists(Marker()));
        QVERIFY(!Number_Index_Files(Data()).isEmpty());
        QVERIFY(QFile::exists(QString::fromStdString(home->File("tallydepot.lock"))));
        int code = 0;
        QCOMPARE(Run(code), QStringList{Q("box 0  | Программа уже запущена")});
        QCOMPARE(code, 1);
        Temp_Folder links;
        const QString linked = QString::fromStdString(links.File("installation"));
        QVERIFY(QFile::link(QString::fromStdString(home->Path()), linked));
        QProcessEnvironment elsewhere = Environment("yes");
        elsewhere.insert("TALLY_DEPOT_HOME", linked);
        elsewhere.remove("XDG_RUNTIME_DIR");
        QCOMPARE(Run_In(elsewhere, code), QStringList{Q("box 0  | Программа уже запущена")});
        QCOMPARE(code, 1);
        QCOMPARE(first.state(), QProcess::Running);

        first.kill();
        first.waitForFinished();
        QVERIFY(QFile::exists(Marker()));
        QStringList lines = Run(code);
        QCOMPARE(code, 0);
        QCOMPARE(lines[0], Q("box 0  | Программа была завершена неожиданно."));
        QVERIFY(lines[1].startsWith("shown |"));
        QVERIFY(!QFile::exists(Marker()));
        QVERIFY(Number_Index_Files(Data()).isEmpty());
    }
};

TD_QTEST_MAIN(Program_Test)
#include "program_test.moc"
