#include "MsgBox.h"

#include <QHBoxLayout>
#include <QLabel>
#include <QMouseEvent>
#include <QPushButton>
#include <QVBoxLayout>

MsgBox::MsgBox(int kind, QString text, QWidget* parent)
    : QDialog(parent, Qt::Dialog | Qt::FramelessWindowHint)
{
    setObjectName("WhiteDialog");
    setMinimumSize(300, 150);
    setProperty("canMove", true);
    setFont(QFont("Microsoft YaHei"));

    m_text = new QLabel(text, this);
    m_text->setAlignment(Qt::AlignCenter);
    m_text->setWordWrap(true);

    m_okBtn = new QPushButton(tr("Ok"), this);
    m_okBtn->setObjectName("btnBlue");
    m_cancelBtn = new QPushButton(tr("Cancel"), this);
    m_cancelBtn->setObjectName("btnWhite");
    m_cancelBtn->setVisible(kind == 1);

    auto* buttons = new QHBoxLayout;
    buttons->addStretch();
    buttons->addWidget(m_okBtn);
    buttons->addWidget(m_cancelBtn);
    buttons->addStretch();

    auto* layout = new QVBoxLayout(this);
    layout->addWidget(m_text, 1);
    layout->addLayout(buttons);

    connect(m_okBtn, &QPushButton::clicked, this, &MsgBox::okBtn_press);
    connect(m_cancelBtn, &QPushButton::clicked, this, &MsgBox::cancleBtn_press);
}

void MsgBox::okBtn_press()
{
    accept();
}

void MsgBox::cancleBtn_press()
{
    reject();
}

// Without a frame the box is dragged by its body: the pressed point stays
// under the pointer.
void MsgBox::mousePressEvent(QMouseEvent* event)
{
    if (event->button() == Qt::LeftButton) {
        m_pressed = true;
        m_pressPos = event->pos();
    }
    QDialog::mousePressEvent(event);
}

void MsgBox::mouseMoveEvent(QMouseEvent* event)
{
    if (m_pressed)
        move(event->globalPos() - m_pressPos);
    QDialog::mouseMoveEvent(event);
}

void MsgBox::mouseReleaseEvent(QMouseEvent* event)
{
    m_pressed = false;
    QDialog::mouseReleaseEvent(event);
}
