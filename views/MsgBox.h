#ifndef MSGBOX_H
#define MSGBOX_H

#include <QDialog>
#include <QPoint>

class QLabel;
class QPushButton;

// Small frameless box: kind 1 asks a question (Ok and Cancel), any other kind
// is a notice with Ok only. Run modally; exec() returns 1 for Ok.
class MsgBox : public QDialog
{
    Q_OBJECT
public:
    MsgBox(int kind, QString text, QWidget* parent = nullptr);

public slots:
    void okBtn_press();
    void cancleBtn_press();

protected:
    void mousePressEvent(QMouseEvent* event) override;
    void mouseMoveEvent(QMouseEvent* event) override;
    void mouseReleaseEvent(QMouseEvent* event) override;

private:
    QLabel* m_text;
    QPushButton* m_okBtn;
    QPushButton* m_cancelBtn;
    bool m_pressed = false;
    QPoint m_pressPos;
};

#endif // MSGBOX_H
