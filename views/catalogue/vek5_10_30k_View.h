#ifndef VEK5_10_30K_VIEW_H
#define VEK5_10_30K_VIEW_H

#include "vek5ViewData.h"

// The parameter catalogue of the 10-30 kVA range (model code 222): every
// displayed and settable value and the 512 alarm texts.
class vek5_10_30k_View : public vek5ViewData
{
    Q_OBJECT
public:
    explicit vek5_10_30k_View(QObject* parent = nullptr);
    ~vek5_10_30k_View() override;
};

#endif // VEK5_10_30K_VIEW_H
