<!DOCTYPE html>
<html lang="en">
<head>
<meta charset="windows-1252">
<meta name="viewport" content="width=device-width, initial-scale=1">
<title>Thank you</title>
<link rel="stylesheet" type="text/css" href="../css/layout.css">
</head>
<body>
<header>
<table role="presentation" width="100%" border="0" cellpadding="0" cellspacing="0">
<tr><td height="60"><img src="../images/train_cert.gif" alt="surva" width="468" height="60"></td></tr>
<tr><td height="20" bgcolor="#003399"><font color="#ffffff" size="1"><b>&nbsp;&nbsp;surva |</b></font></td></tr>
</table>
</header>
<main class="thanks">
<h1>Thank you!</h1>
<p>Your answers have been saved.</p>
<p>Thank you for the time you took to fill in the surva. We read every answer and every
suggestion, and we use them to make our trainings better.</p>
<hr class="rule">
<p>You may close this window now. We look forward to seeing you again.</p>
</main>
</body>
</html>
