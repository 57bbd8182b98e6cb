#ifndef DIALOG_H
#define DIALOG_H

#include <QDialog>
#include <QMap>
#include <QString>
#include <QTimer>
#include <QVariant>

class QComboBox;
class QLabel;
class QLineEdit;
class QPushButton;
class QStackedWidget;
class Loading;
class ParameterInformation;

// Sets one parameter of the settings tables: value entry or option choice,
// range check, conversion to the raw device value and the set request.
class Dialog : public QDialog
{
    Q_OBJECT
public:
    enum Page { ValuePage = 0, OptionPage = 1, BusyPage = 2 };

    explicit Dialog(QWidget* parent = nullptr);

    void initial(ParameterInformation* record);
    void setDevName(QString name);
    void switchPage(int index);
    QString getstrValue();
    int getrealValue();

signals:
    void postDEvent(int type, QMap<QString, QVariant> map);

public slots:
    void checkRange();

private:
    QString nodeValue(const QString& text) const;

    ParameterInformation* m_record = nullptr;
    QString m_devName;
    int m_mode = 0; // 0 value entry, 1 option choice
    float m_value = 0.0f;
    int m_maxRaw = 0;
    int m_minRaw = 0;
    float m_ratio = 0.0f;
    QTimer m_timer;

    QLabel* m_title;
    QLabel* m_range;
    QStackedWidget* m_stack;
    QLineEdit* m_lineEdit;
    QComboBox* m_comboBox;
    Loading* m_loading;
    QPushButton* m_okBtn;
    QPushButton* m_cancelBtn;
};

#endif // DIALOG_H
