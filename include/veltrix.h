// veltrix.h - every public module of the Veltrix library.
//
// Plug-ins may include this or just the modules they use. The stand-alone
// host (vxStandaloneHost.h) is a separate library and is not included here.
#ifndef VELTRIX_H
#define VELTRIX_H

#include "hvMaths.h"
#include "hvNoise.h"
#include "vxAsciiFont.h"
#include "vxCamera.h"
#include "vxColourGrade.h"
#include "vxComplex.h"
#include "vxError.h"
#include "vxExport.h"
#include "vxFakeTan.h"
#include "vxFourierConvolvePass.h"
#include "vxGrad.h"
#include "vxHeap.h"
#include "vxHost.h"
#include "vxImager.h"
#include "vxImgProc.h"
#include "vxList.h"
#include "vxMatrixArb.h"
#include "vxMessage.h"
#include "vxMosaic.h"
#include "vxMpForkCall.h"
#include "vxMultiProcessor.h"
#include "vxPois3d.h"
#include "vxRefCounter.h"
#include "vxShaker.h"
#include "vxShapeMask.h"
#include "vxSpark.h"
#include "vxString.h"
#include "vxTDisplay.h"
#include "vxTDraw.h"
#include "vxTManager.h"
#include "vxTObject.h"
#include "vxTSlider.h"
#include "vxTToggle.h"
#include "vxTexIndexer.h"
#include "vxTexNotifier.h"
#include "vxTexture.h"
#include "vxVersion.h"

#endif
